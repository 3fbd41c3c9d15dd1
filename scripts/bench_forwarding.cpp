// The two ends of a measured forwarding.
//   bench_forwarding write N   writes N lines of 64 bytes, then lives until they can have been read
//   bench_forwarding read      reads such lines; prints the bytes that came before the last chunk,
//                              the seconds from the first chunk to the last, all bytes, and whether
//                              each stood in its place

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <unistd.h>

namespace {

constexpr int lineSize = 64;

std::string lineOf(int number) {
    char text[lineSize + 1];
    std::snprintf(text, sizeof(text), "%0*d\n", lineSize - 1, number);
    return text;
}

int writeLines(int count) {
    for (int number = 0; number < count; ++number)
        std::fputs(lineOf(number).c_str(), stdout);
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::seconds(4)); // a pipe's worth is still on its way
    return 0;
}

int readLines() {
    using Clock = std::chrono::steady_clock;
    Clock::time_point first;
    Clock::time_point last;
    std::string received;
    std::size_t beforeLast = 0;
    char buffer[65536];
    for (ssize_t size = 0; (size = ::read(STDIN_FILENO, buffer, sizeof(buffer))) > 0;) {
        last = Clock::now();
        if (received.empty())
            first = last;
        beforeLast = received.size();
        received.append(buffer, static_cast<std::size_t>(size));
    }

    std::string expected;
    for (int number = 0; expected.size() < received.size(); ++number)
        expected += lineOf(number);
    std::printf("%zu %.6f %zu %s\n", beforeLast,
                std::chrono::duration<double>(last - first).count(), received.size(),
                received == expected ? "ordered" : "disordered");
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    const std::string task = argc > 1 ? argv[1] : "";
    if (task == "write" && argc > 2)
        return writeLines(std::atoi(argv[2]));
    return task == "read" ? readLines() : 2;
}
