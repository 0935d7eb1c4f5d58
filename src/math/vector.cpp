// The exported copies; everything is inline in the header.
#include "Math/Vector.h"

namespace Math {

template struct Vector<2, float>;
template struct Vector<3, float>;
template struct Vector<4, float>;
template struct Vector<2, double>;
template struct Vector<3, double>;
template struct Vector<4, double>;

} // namespace Math
