/*
 * How a tool lets zqLauncher ask it to end. Needs nothing but <windows.h>; for C99 and C++11 on.
 *
 *     static void onStop(ZqStopEvent event, void *context) {
 *         if (event != ZqStopNoLauncher)
 *             SetEvent((HANDLE)context);
 *     }
 *     ...
 *     zqListenForStop(onStop, stopEvent);
 *
 * The launcher serves a named pipe for each tool that it starts and writes one message to it, the
 * seven bytes "zqEnd!" and a zero, when its service is asked to stop. It disconnects at once, which
 * drops what isn't read by then, so a read is always pending here. A read that fails is the same
 * request: a tool sees its pipe break only after the word was sent or couldn't be sent, or because
 * the launcher is gone. A tool may end at any time without cancelling anything.
 */
#ifndef ZQ_ORDERLY_STOP_H
#define ZQ_ORDERLY_STOP_H

#include <windows.h>

typedef enum ZqStopEvent {
    ZqStopAsked,        /* The launcher asks this process to end. End it, with exit code 0. */
    ZqStopLauncherGone, /* The pipe broke without a request. End it all the same: the launcher
                           kills its tools when it ends. */
    ZqStopNoLauncher    /* Nobody will ask: there is no pipe for this process, or it has had its one
                           client (GetLastError() is ERROR_PIPE_BUSY). Work on. */
} ZqStopEvent;

/* Called once, on a thread that does nothing else. What the context points to must live as long as
   the process. */
typedef void (*ZqStopCallback)(ZqStopEvent event, void *context);

typedef struct ZqStopListener {
    ZqStopCallback callback;
    void *context;
} ZqStopListener;

/* Writes \\.\pipe\zqLauncher_ and the id of this process, 31 units at most with the zero. */
static inline void zqComposeStopPipeName(WCHAR *name) {
    static const unsigned char prefix[] = "\\\\.\\pipe\\zqLauncher_";
    static const unsigned char digits[] = "0123456789";
    const unsigned char *from;
    DWORD id = GetCurrentProcessId();
    DWORD unit = 1;
    for (from = prefix; *from != 0; ++from)
        *name++ = *from;
    while (id / unit >= 10)
        unit *= 10;
    for (; unit != 0; unit /= 10)
        *name++ = digits[id / unit % 10];
    *name = 0;
}

static inline BOOL zqIsStopWord(const char *message, DWORD size) {
    static const char word[] = "zqEnd!";
    DWORD at = 0;
    while (at < size && at < sizeof(word) && message[at] == word[at])
        ++at;
    return at == sizeof(word) && size == sizeof(word);
}

/*
 * Blocks until there is something to report, for a tool that has a thread of its own for it. Call
 * it once in a process: the pipe takes one client, once.
 */
static inline ZqStopEvent zqAwaitStop(void) {
    WCHAR name[32];
    char message[64];
    DWORD size = 0;
    DWORD error = ERROR_SUCCESS;
    HANDLE pipe;

    zqComposeStopPipeName(name);
    /* Another process may have made a pipe of this name. It doesn't get to act as this user. */
    pipe = CreateFileW(name, GENERIC_READ, 0, NULL, OPEN_EXISTING,
                       SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, NULL);
    if (pipe == INVALID_HANDLE_VALUE)
        return ZqStopNoLauncher;

    do {
        if (!ReadFile(pipe, message, sizeof(message), &size, NULL))
            error = GetLastError();
    } while (error == ERROR_SUCCESS && !zqIsStopWord(message, size));
    CloseHandle(pipe);
    /* The launcher disconnects only when it asks: the word was dropped before it was read. */
    return error == ERROR_SUCCESS || error == ERROR_PIPE_NOT_CONNECTED ? ZqStopAsked
                                                                       : ZqStopLauncherGone;
}

static inline ZqStopListener *zqStopListener(void) {
    static ZqStopListener listener;
    return &listener;
}

static inline DWORD WINAPI zqRunStopListener(LPVOID unused) {
    const ZqStopListener *listener = zqStopListener();
    (void)unused;
    listener->callback(zqAwaitStop(), listener->context);
    return 0;
}

/*
 * Starts a thread that waits for the request, and calls back once, on that thread. Call it once,
 * early in main. Returns FALSE, and never calls back, if the thread can't be made.
 */
static inline BOOL zqListenForStop(ZqStopCallback callback, void *context) {
    HANDLE thread;
    zqStopListener()->callback = callback;
    zqStopListener()->context = context;
    thread = CreateThread(NULL, 0, zqRunStopListener, NULL, 0, NULL);
    if (thread == NULL)
        return FALSE;
    CloseHandle(thread);
    return TRUE;
}

#endif
