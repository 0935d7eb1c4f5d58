/* What the user of the host can mend. */
#ifndef QZ_HOST_USER_ERROR_H
#define QZ_HOST_USER_ERROR_H

#include <stdexcept>

/* what() is a line for each mistake, with the file and, if it is one in it, the path of the entry.
 */
class UserError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

#endif
