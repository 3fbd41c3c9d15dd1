#pragma once

// The Windows calls that the launcher, its tools and the tests make, by their own names, served by
// the host system. Each behaves as Windows documents it for the arguments that they pass. Another
// argument that would change the result makes it fail with ERROR_NOT_SUPPORTED; one that wouldn't
// is ignored. Constants have the values of Windows. Records have those of its fields that are used,
// but for SERVICE_STATUS, which is whole.

#include <cstddef>
#include <cstdint>
#include <cstdio>

using BOOL = int;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using SIZE_T = std::size_t;
using ULONG_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using WPARAM = ULONG_PTR;
using LPARAM = LONG_PTR;
using WCHAR = char16_t;
using HANDLE = void *;
using HMODULE = void *;
using HWND = void *;
using HLOCAL = void *;
using LPVOID = void *;
using LPCVOID = const void *;
using LPSTR = char *;
using LPWSTR = WCHAR *;
using LPCWSTR = const WCHAR *;
using LPDWORD = DWORD *;

#define WINAPI

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1));
inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD MAX_PATH = 260;

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_BROKEN_PIPE = 109;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_PIPE_BUSY = 231;
inline constexpr DWORD ERROR_PIPE_NOT_CONNECTED = 233;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_PIPE_CONNECTED = 535;
inline constexpr DWORD ERROR_NO_TOKEN = 1008;
inline constexpr DWORD ERROR_FAILED_SERVICE_CONTROLLER_CONNECT = 1063;
inline constexpr DWORD ERROR_INVALID_THREAD_ID = 1444;

DWORD GetLastError();
void SetLastError(DWORD error);

// Handles and waiting

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES *;

inline constexpr DWORD HANDLE_FLAG_INHERIT = 0x1;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD STILL_ACTIVE = 259;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

BOOL CloseHandle(HANDLE handle);
BOOL SetHandleInformation(HANDLE handle, DWORD mask, DWORD flags);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// Console

inline constexpr DWORD STD_OUTPUT_HANDLE = static_cast<DWORD>(-11);
inline constexpr DWORD ENABLE_PROCESSED_OUTPUT = 0x1;

HANDLE GetStdHandle(DWORD which);
BOOL SetConsoleMode(HANDLE console, DWORD mode);

// Environment

int _putenv_s(const char *name, const char *value);

// Files

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    WCHAR cFileName[MAX_PATH];
};

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD FILE_SHARE_READ = 0x1;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
inline constexpr DWORD SECURITY_ANONYMOUS = 0;
inline constexpr DWORD SECURITY_SQOS_PRESENT = 0x00100000;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
inline constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD FILE_NAME_NORMALIZED = 0;
inline constexpr DWORD VOLUME_NAME_DOS = 0;

inline constexpr int _SH_DENYNO = 0x40;

std::FILE *_fsopen(const char *path, const char *mode, int share);
BOOL PathIsDirectoryW(LPCWSTR path);
BOOL PathFileExistsW(LPCWSTR path);
DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);
DWORD GetFileAttributesW(LPCWSTR path);
// Opens an existing file or directory for reading, or, under \\.\pipe\, a pipe as its client.
HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
                   DWORD disposition, DWORD flags, HANDLE templateFile);
DWORD GetFinalPathNameByHandleW(HANDLE file, LPWSTR buffer, DWORD size, DWORD flags);
DWORD GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR *filePart);
// The pattern is a directory and \*.
HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW *data);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW *data);
BOOL FindClose(HANDLE search);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPVOID overlapped);
BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD written, LPVOID overlapped);
// Deletes nothing: on a pipe's name it comes and goes as a client, on any other it fails.
BOOL DeleteFileW(LPCWSTR name);

// Pipes

inline constexpr DWORD PIPE_ACCESS_OUTBOUND = 0x2;
inline constexpr DWORD PIPE_TYPE_MESSAGE = 0x4;
inline constexpr DWORD PIPE_REJECT_REMOTE_CLIENTS = 0x8;
inline constexpr DWORD PIPE_UNLIMITED_INSTANCES = 255;

BOOL CreatePipe(HANDLE *readEnd, HANDLE *writeEnd, LPSECURITY_ATTRIBUTES attributes, DWORD size);
BOOL PeekNamedPipe(HANDLE pipe, LPVOID buffer, DWORD size, LPDWORD read, LPDWORD available,
                   LPDWORD leftInMessage);
HANDLE CreateNamedPipeW(LPCWSTR name, DWORD openMode, DWORD pipeMode, DWORD maxInstances,
                        DWORD outBufferSize, DWORD inBufferSize, DWORD defaultTimeOut,
                        LPSECURITY_ATTRIBUTES attributes);
BOOL ConnectNamedPipe(HANDLE pipe, LPVOID overlapped);
BOOL DisconnectNamedPipe(HANDLE pipe);

// Processes and jobs

struct STARTUPINFOW {
    DWORD cb;
    LPWSTR lpDesktop;
    DWORD dwFlags;
    WORD wShowWindow;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};

struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
};

struct JOBOBJECT_BASIC_LIMIT_INFORMATION {
    DWORD LimitFlags;
};

struct JOBOBJECT_EXTENDED_LIMIT_INFORMATION {
    JOBOBJECT_BASIC_LIMIT_INFORMATION BasicLimitInformation;
};

enum JOBOBJECTINFOCLASS { JobObjectExtendedLimitInformation = 9 };

inline constexpr DWORD CREATE_SUSPENDED = 0x4;
inline constexpr DWORD CREATE_NEW_CONSOLE = 0x10;
inline constexpr DWORD CREATE_UNICODE_ENVIRONMENT = 0x400;
inline constexpr DWORD CREATE_BREAKAWAY_FROM_JOB = 0x1000000;
inline constexpr DWORD CREATE_NO_WINDOW = 0x8000000;
inline constexpr DWORD STARTF_USESHOWWINDOW = 0x1;
inline constexpr DWORD STARTF_USESTDHANDLES = 0x100;
inline constexpr WORD SW_HIDE = 0;
inline constexpr DWORD JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK = 0x1000;
inline constexpr DWORD JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE = 0x2000;

// A process that a signal ended has the exit code 128 plus the signal's number.
BOOL CreateProcessW(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                    LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags,
                    LPVOID environment, LPCWSTR currentDirectory, STARTUPINFOW *startup,
                    PROCESS_INFORMATION *information);
BOOL CreateProcessAsUserW(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                          LPSECURITY_ATTRIBUTES process, LPSECURITY_ATTRIBUTES thread,
                          BOOL inheritHandles, DWORD flags, LPVOID environment,
                          LPCWSTR currentDirectory, STARTUPINFOW *startup,
                          PROCESS_INFORMATION *information);
// Only on the thread that created the process.
DWORD ResumeThread(HANDLE thread);
BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
DWORD GetCurrentProcessId();
HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES attributes, LPCWSTR name);
BOOL SetInformationJobObject(HANDLE job, JOBOBJECTINFOCLASS informationClass, LPVOID information,
                             DWORD size);
BOOL AssignProcessToJobObject(HANDLE job, HANDLE process);

// Error texts

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer,
                     DWORD size, void *arguments);
HLOCAL LocalFree(HLOCAL memory);

// Sessions and tokens

enum TOKEN_INFORMATION_CLASS { TokenLinkedToken = 19 };

struct TOKEN_LINKED_TOKEN {
    HANDLE LinkedToken;
};

DWORD WTSGetActiveConsoleSessionId();
BOOL WTSQueryUserToken(DWORD session, HANDLE *token);
// A linked token has no rights here that the other has not.
BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS informationClass, LPVOID information,
                         DWORD size, LPDWORD needed);
// The block is opaque; DestroyEnvironmentBlock releases it.
BOOL CreateEnvironmentBlock(LPVOID *block, HANDLE token, BOOL inherit);
BOOL DestroyEnvironmentBlock(LPVOID block);

// Threads, messages and events

using LPTHREAD_START_ROUTINE = DWORD(WINAPI *)(LPVOID);

struct MSG {
    UINT message;
};

inline constexpr UINT WM_CLOSE = 0x10;
inline constexpr UINT PM_REMOVE = 0x1;

HANDLE CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stackSize,
                    LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD flags, LPDWORD threadId);
DWORD GetCurrentThreadId();
BOOL PeekMessageW(MSG *message, HWND window, UINT first, UINT last, UINT remove);
BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
void Sleep(DWORD milliseconds);
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                    LPCWSTR name);
BOOL SetEvent(HANDLE event);

// Service control

using SERVICE_STATUS_HANDLE = void *;
using LPSERVICE_MAIN_FUNCTIONW = void(WINAPI *)(DWORD, LPWSTR *);
using LPHANDLER_FUNCTION = void(WINAPI *)(DWORD);

struct SERVICE_STATUS {
    DWORD dwServiceType;
    DWORD dwCurrentState;
    DWORD dwControlsAccepted;
    DWORD dwWin32ExitCode;
    DWORD dwServiceSpecificExitCode;
    DWORD dwCheckPoint;
    DWORD dwWaitHint;
};

struct SERVICE_TABLE_ENTRYW {
    LPWSTR lpServiceName;
    LPSERVICE_MAIN_FUNCTIONW lpServiceProc;
};

inline constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 0x10;
inline constexpr DWORD SERVICE_STOPPED = 1;
inline constexpr DWORD SERVICE_START_PENDING = 2;
inline constexpr DWORD SERVICE_STOP_PENDING = 3;
inline constexpr DWORD SERVICE_RUNNING = 4;
inline constexpr DWORD SERVICE_ACCEPT_STOP = 1;
inline constexpr DWORD SERVICE_CONTROL_STOP = 1;
inline constexpr DWORD SERVICE_CONTROL_INTERROGATE = 4;

// Returns when the service has reported SERVICE_STOPPED, or when its manager has gone.
BOOL StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW *table);
SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(LPCWSTR name, LPHANDLER_FUNCTION handler);
BOOL SetServiceStatus(SERVICE_STATUS_HANDLE registered, SERVICE_STATUS *status);

// Debug channel

void OutputDebugStringW(LPCWSTR text);
