#ifndef HOST_SY_SYSTEM_H
#define HOST_SY_SYSTEM_H

// Runs `command` through /bin/sh -c in a child process (fork and exec, not
// system(), so no signal dispositions of the process change) and waits for
// it. Answers the exit status (0-255), or -1 if it could not be run, was
// killed by a signal, or ran past `timeoutSeconds` (then it is killed; 0 or
// less waits without limit). Any thread.
int sy_system(char const* command, int timeoutSeconds = 0);

#endif
