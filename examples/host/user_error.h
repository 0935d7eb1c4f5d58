/* An error that the user of the host can correct. */
#ifndef QZ_HOST_USER_ERROR_H
#define QZ_HOST_USER_ERROR_H

#include <stdexcept>

/* what() has a line for each mistake, with the file and, for a mistake in a file, the entry's path.
 */
class UserError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

#endif
