/*
 * How a tool makes its children end with it. Needs nothing but <windows.h>; for C99 and C++11 on.
 *
 * The launcher's job kills the tool with the launcher, but it lets the tool's children go: without
 * this they outlive both. Don't use it in a tool that leaves a program running on purpose.
 */
#ifndef ZQ_END_CHILDREN_H
#define ZQ_END_CHILDREN_H

#include <windows.h>

/*
 * Processes that this one starts from now on, and those that they start, are killed when this one
 * ends, however it ends. Its exit code stays its own. Call it once, before the first child is
 * started. Returns FALSE and changes nothing if there is no such job to be had; GetLastError() says
 * why.
 */
static inline BOOL zqEndChildrenWithMe(void) {
    static JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits; /* zero, and so without a breakaway */
    HANDLE job = CreateJobObjectW(NULL, NULL);
    if (job == NULL)
        return FALSE;
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof(limits)) &&
        AssignProcessToJobObject(job, GetCurrentProcess()))
        return TRUE; /* the job stays open: Windows closes it, and kills, at the end of this process
                      */
    CloseHandle(job);
    return FALSE;
}

#endif
