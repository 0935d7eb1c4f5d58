/* A wish to end, of the user (Ctrl-C) or of the script (os.exit). Whoever works for long asks now
 * and then whether there is one, and ends cleanly. */
#ifndef QZ_HOST_STOP_H
#define QZ_HOST_STOP_H

enum { kExitInterrupted = 130 };

/* From now on Ctrl-C is a wish to end; a second Ctrl-C ends the process at once. */
void catchInterrupts();

void requestStop(int exitCode);

bool stopRequested();

/* The exit code that was wished for. */
int stopCode();

#endif
