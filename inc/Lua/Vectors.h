/* The vectors that Lua::Config reads, for hosts without classes of these names. C++ only, for
 * programs built by the library's compiler.
 *
 * Hosts with such classes of their own, which hold the numbers in a row and nothing else, include
 * their own headers in place of this one, never both. The library only accesses the memory of a
 * vector, so it works with both. A default vector is all zero. Indices run from 0.
 */
#ifndef QZCORE_LUA_VECTORS_H
#define QZCORE_LUA_VECTORS_H

#include "Core/SameCompiler.h"

namespace osg {

class Vec4ub {
public:
    Vec4ub() = default;
    Vec4ub(unsigned char r, unsigned char g, unsigned char b, unsigned char a)
        : values_{r, g, b, a} {}

    unsigned char& operator[](int i) { return values_[i]; }
    unsigned char operator[](int i) const { return values_[i]; }

private:
    unsigned char values_[4]{};
};

class Vec2f {
public:
    Vec2f() = default;
    Vec2f(float x, float y) : values_{x, y} {}

    float& operator[](int i) { return values_[i]; }
    float operator[](int i) const { return values_[i]; }

private:
    float values_[2]{};
};

class Vec3d {
public:
    Vec3d() = default;
    Vec3d(double x, double y, double z) : values_{x, y, z} {}

    double& operator[](int i) { return values_[i]; }
    double operator[](int i) const { return values_[i]; }

private:
    double values_[3]{};
};

class Vec4d {
public:
    Vec4d() = default;
    Vec4d(double x, double y, double z, double w) : values_{x, y, z, w} {}

    double& operator[](int i) { return values_[i]; }
    double operator[](int i) const { return values_[i]; }

private:
    double values_[4]{};
};

} // namespace osg

#endif
