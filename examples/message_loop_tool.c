/*
 * A tool with a message loop that ends in order when the launcher asks it to: the callback posts a
 * message to the thread of the loop.
 */
#include "zq_orderly_stop.h"

#include <stdio.h>

static const UINT stopMessage = WM_APP + 1;

static DWORD loopThread;

/* Runs on a thread of its own, so it only passes the request on. */
static void onStop(ZqStopEvent event, void *context) {
    (void)context;
    if (event != ZqStopNoLauncher)
        PostThreadMessageW(loopThread, stopMessage, 0, 0);
}

int main(void) {
    MSG message;

    loopThread = GetCurrentThreadId();
    /* A thread has no queue before its first such call, and a message to it would be lost. */
    PeekMessageW(&message, NULL, 0, 0, PM_NOREMOVE);
    if (!zqListenForStop(onStop, NULL))
        return 2; /* not 1, which looks like a failure of the launcher */

    puts("working");
    fflush(stdout);
    while (GetMessageW(&message, NULL, 0, 0) > 0) {
        if (message.hwnd == NULL && message.message == stopMessage)
            PostQuitMessage(0);
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    puts("asked to end, all is saved");
    return 0; /* the service reports a tool's exit code as its own */
}
