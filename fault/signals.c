/* Preloaded into a program, interrupts its calls a thousand times a second, like another library's
 * timer whose handler has no SA_RESTART. */
#include <signal.h>
#include <string.h>
#include <sys/time.h>

static void onTimer(int number) {
    (void)number;
}

__attribute__((constructor)) static void startTimer(void) {
    const struct itimerval each = {{0, 1000}, {0, 1000}};
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = onTimer;
    sigaction(SIGALRM, &action, NULL);
    setitimer(ITIMER_REAL, &each, NULL);
}
