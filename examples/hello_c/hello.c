/* Logs a line from C. With the library installed:
 *
 *     cc -std=c11 hello.c -o hello $(pkg-config --cflags --libs qzcore)
 *     ./hello DIRECTORY
 */
#include <Core/Clock.h>
#include <Core/Log.h>

#include <stdio.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "Usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    if (qz_log_start(argv[1], "hello_c") != 0) {
        return 1;
    }
    qz_log("HELLO", QZ_LOG_INFO, "hello from C");
    qz_log_stop();
    printf("logged to %s/hello_c.log after %.6f s\n", argv[1], QZ_get_time());
    return 0;
}
