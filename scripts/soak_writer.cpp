// The tool of a long run.
//   soak_writer SECONDS   writes a numbered line every 20 ms, then ends with 7

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int argc, char **argv) {
    const int lines = argc > 1 ? std::atoi(argv[1]) * 50 : 0;
    for (int number = 1; number <= lines; ++number) {
        std::printf("line %d of a tool that writes for a long time\n", number);
        std::fflush(stdout);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::this_thread::sleep_for(std::chrono::seconds(2)); // until the last lines have been read
    return 7;
}
