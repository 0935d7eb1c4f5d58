/* What the user of the host can mend. */
#ifndef QZ_HOST_USER_ERROR_H
#define QZ_HOST_USER_ERROR_H

#include <stdexcept>

/* what() is one line that names the file and, for a mistake in it, the path of the entry. */
class UserError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

#endif
