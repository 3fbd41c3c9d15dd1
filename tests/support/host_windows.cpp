#include "support/host.h"
#include "support/wine.h"

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <stdexcept>

#include <windows.h>

#include <wtsapi32.h>

// The narrow calls take UTF-8: the manifest of each program says so.
namespace testing_support {
namespace fs = std::filesystem;
namespace {

// As the C runtime splits it again, for arguments that don't both need quotes and end in a
// backslash.
std::string quoted(const std::string &argument) {
    if (!argument.empty() && argument.find_first_of(" \"") == argument.npos)
        return argument;
    return '"' + std::regex_replace(argument, std::regex("(\\\\*)\""), "$1$1\\\"") + '"';
}

bool makeFileLink(const fs::path &link, const fs::path &target) {
    constexpr DWORD withoutRights = 2; // where the system lets developers do so
    return ::CreateSymbolicLinkW(link.c_str(), target.c_str(), withoutRights) != FALSE;
}

// Needs no rights, unlike a symbolic link.
bool makeJunction(const fs::path &link, const fs::path &target) {
    const fs::path from = link.lexically_normal(), to = target.lexically_normal(); // `\` only
    const std::string names = '"' + from.string() + "\" \"" + to.string() + '"';
    return std::system(("mklink /J " + names + " >nul").c_str()) == 0;
}

bool removeEntries(const fs::path &folder) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = ::FindFirstFileW((folder / L"*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    bool removed = true;
    do {
        const fs::path path = folder / entry.cFileName;
        const bool isDirectory = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        const bool isLink = (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        if (path.filename() == L"." || path.filename() == L"..")
            continue;
        ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        if (isDirectory && !isLink)
            removed = removeEntries(path) && removed;
        removed = (isDirectory ? ::RemoveDirectoryW(path.c_str()) : ::DeleteFileW(path.c_str())) &&
                  removed;
    } while (::FindNextFileW(search, &entry) != 0);
    ::FindClose(search);
    return removed;
}

} // namespace

HostProcess::HostProcess(const std::filesystem::path &program,
                         const std::vector<std::string> &arguments, const std::string &streams) {
    std::string line = quoted(program.string());
    for (const std::string &argument : arguments)
        line.append(" ").append(quoted(argument));

    // Only the three files are inherited: the caller's own streams may be pipes of a test runner.
    for (const DWORD own : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
        ::SetHandleInformation(::GetStdHandle(own), HANDLE_FLAG_INHERIT, 0);
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const auto open = [&](const std::string &file, DWORD access) {
        return ::CreateFileA(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                             OPEN_ALWAYS, 0, nullptr);
    };
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = open(streams + ".in", GENERIC_READ);
    startup.hStdOutput = open(streams + ".out", FILE_APPEND_DATA);
    startup.hStdError = open(streams + ".err", FILE_APPEND_DATA);
    PROCESS_INFORMATION information{};
    const BOOL created = ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                          nullptr, &startup, &information);
    for (HANDLE handle :
         {startup.hStdInput, startup.hStdOutput, startup.hStdError, information.hThread})
        ::CloseHandle(handle);
    if (!created)
        throw std::runtime_error("can't start " + line);
    process = reinterpret_cast<std::intptr_t>(information.hProcess);
}

HostProcess::~HostProcess() {
    ::CloseHandle(reinterpret_cast<HANDLE>(process));
}

std::optional<std::uint32_t> HostProcess::wait(std::chrono::milliseconds limit) {
    const auto handle = reinterpret_cast<HANDLE>(process);
    DWORD code = 0;
    if (::WaitForSingleObject(handle, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0 &&
        ::GetExitCodeProcess(handle, &code))
        exitCode = code;
    return exitCode;
}

void HostProcess::kill() {
    ::TerminateProcess(reinterpret_cast<HANDLE>(process), 137);
}

Platform platform() {
    static const Platform here = wine::isHere() ? Platform::Wine : Platform::Windows;
    return here;
}

fs::path ownFolder() {
    WCHAR path[1024];
    ::GetModuleFileNameW(nullptr, path, 1024);
    return fs::path(path).parent_path();
}

fs::path temporaryRoot() {
    // The form in which the launcher prints where a link leads.
    WCHAR path[1024];
    ::GetTempPathW(1024, path);
    const HANDLE folder =
        ::CreateFileW(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    ::GetFinalPathNameByHandleW(folder, path, 1024, VOLUME_NAME_DOS);
    ::CloseHandle(folder);
    const std::wstring root = path + std::wstring_view(L"\\\\?\\").size();
    if (std::ranges::any_of(root, [](WCHAR unit) { return unit == ' ' || unit > 0x7F; }))
        throw std::runtime_error("the temporary folder has a space or a character beyond ASCII in "
                                 "its path: set TEMP to another one");
    return root;
}

void clearAttributes(const fs::path &folder) {
    ::SetFileAttributesW(folder.c_str(), FILE_ATTRIBUTE_NORMAL);
}

void makeLink(const fs::path &link, const fs::path &target) {
    fs::create_directories(link.parent_path());
    const fs::path whole = fs::absolute(link.parent_path() / target);
    if (!(wine::isHere()               ? wine::makeLink(link, target)
          : fs::is_regular_file(whole) ? makeFileLink(link, whole)
                                       : makeJunction(link, whole)))
        throw std::runtime_error("no link " + link.string());
}

void removeTree(const fs::path &folder) {
    // Programs that have just ended hold their files a little longer.
    if (wine::isHere())
        wine::removeTree(folder);
    else
        waitUntil([&] { return removeEntries(folder) && ::RemoveDirectoryW(folder.c_str()); });
}

bool mayRegisterServices() {
    const SC_HANDLE manager = ::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    if (manager != nullptr)
        ::CloseServiceHandle(manager);
    return manager != nullptr;
}

bool maySymbolicLink() {
    const fs::path link = temporaryRoot() / ("link_" + std::to_string(::GetCurrentProcessId()));
    return makeFileLink(link, ownFolder() / "probe.exe") && ::DeleteFileW(link.c_str()) != FALSE;
}

bool hasDriveD() {
    const fs::path trial = "D:\\launcher_test_" + std::to_string(::GetCurrentProcessId());
    std::error_code denied;
    return ::GetDriveTypeW(L"D:\\") == DRIVE_FIXED && temporaryRoot().root_name() != "D:" &&
           fs::create_directory(trial, denied) && fs::remove(trial, denied);
}

std::string ownSession() {
    DWORD session = 0, length = 64, size = 0;
    char user[64] = "", station[64] = "", desktop[64] = "";
    TOKEN_ELEVATION_TYPE rights{};
    const HANDLE ownDesktop = ::GetThreadDesktop(::GetCurrentThreadId()),
                 token = ::GetCurrentProcessToken();
    ::ProcessIdToSessionId(::GetCurrentProcessId(), &session);
    ::GetUserNameA(user, &length);
    ::GetUserObjectInformationA(::GetProcessWindowStation(), UOI_NAME, station, 64, nullptr);
    ::GetUserObjectInformationA(ownDesktop, UOI_NAME, desktop, 64, nullptr);
    ::GetTokenInformation(token, TokenElevationType, &rights, sizeof rights, &size);
    return std::to_string(session) + " " + user + " " + station + "\\" + desktop + " " +
           std::to_string(rights);
}

std::string consoleSession() {
    const DWORD session = ::WTSGetActiveConsoleSessionId();
    char *user = nullptr;
    DWORD size = 0;
    ::WTSQuerySessionInformationA(nullptr, session, WTSUserName, &user, &size);
    const std::string name = user != nullptr ? user : "";
    ::WTSFreeMemory(user);
    return std::to_string(session) + " " + name + " WinSta0\\Default";
}

std::string ownCommandLine() {
    return ::GetCommandLineA();
}

std::size_t ownPipes() {
    std::size_t count = 0;
    for (ULONG_PTR value = 4; value < 4096; value += 4)
        count += ::GetFileType(reinterpret_cast<HANDLE>(value)) == FILE_TYPE_PIPE ? 1u : 0u;
    return count;
}

char **ownEnvironment() {
    return _environ;
}

} // namespace testing_support
