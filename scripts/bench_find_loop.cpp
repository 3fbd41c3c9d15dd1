// What a listing costs at least on Windows: a folder's entries one by one, each name written out as
// a line that is flushed, or, with a second argument, only counted.
//   bench_find_loop FOLDER [count]

#include <windows.h>

#include <cstdio>
#include <string>

int main(int argc, char **argv) {
    const std::string pattern = std::string(argc > 1 ? argv[1] : ".") + "\\*";
    WIN32_FIND_DATAW entry;
    const HANDLE search =
        FindFirstFileW(std::wstring(pattern.begin(), pattern.end()).c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE)
        return 1;
    static char buffer[4096];
    std::setvbuf(stdout, buffer, _IOFBF, sizeof(buffer));
    int count = 0;
    do {
        ++count;
        if (argc < 3) {
            std::printf("%ls\n", entry.cFileName);
            std::fflush(stdout);
        }
    } while (FindNextFileW(search, &entry) != 0);
    FindClose(search);
    std::printf("%d entries\n", count);
    return 0;
}
