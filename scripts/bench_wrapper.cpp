// The least that a launcher can do on Windows: starts a program in a job that ends with the
// wrapper, waits for it and exits with its exit code. What a launch takes beyond that is the
// launcher's own.
//   bench_wrapper PROGRAM

#include <windows.h>

int main(int argc, char **argv) {
    const HANDLE job = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof(limits));

    WCHAR commandLine[MAX_PATH] = L"";
    MultiByteToWideChar(CP_ACP, 0, argc > 1 ? argv[1] : "", -1, commandLine, MAX_PATH);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION program;
    if (CreateProcessW(nullptr, commandLine, nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr,
                       nullptr, &startup, &program) == 0)
        return 1;
    ResumeThread(program.hThread);
    AssignProcessToJobObject(job, program.hProcess);
    WaitForSingleObject(program.hProcess, INFINITE);
    DWORD exitCode = 1;
    GetExitCodeProcess(program.hProcess, &exitCode);
    return static_cast<int>(exitCode);
}
