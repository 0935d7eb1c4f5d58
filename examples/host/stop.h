/* A request to end, by the user (Ctrl-C) or by the script (os.exit). Long loops check for it now
 * and then, and end cleanly. */
#ifndef QZ_HOST_STOP_H
#define QZ_HOST_STOP_H

enum { kExitInterrupted = 130 };

/* From now on Ctrl-C is a request to end; a second Ctrl-C ends the process at once. */
void catchInterrupts();

void requestStop(int exitCode);

bool stopRequested();

/* The requested exit code. */
int stopCode();

#endif
