#include "process/termination_pipe.h"

#include "platform/windows_api.h"
#include "primitives/wide_text.h"
#include "support/host.h"
#include "support/platform.h"

#include <functional>

using namespace ProcessHandling;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// The opening that ends the wait for a client comes before the request to stop. The thread that it
// wakes doesn't look for the request at once, as it would have to pause for a second then.
TEST(TerminationPipe, RequestToStopMayFollowTheOpening) {
    SKIP_WITHOUT(testing_support::Feature::ShortPauses);
    std::uint32_t number = 0, inTime = 0;
    EXPECT_TRUE(testing_support::waitUntil([&] {
        TerminationPipe pipe(::GetCurrentProcessId() * 100 + ++number, "");
        std::thread server(servePipe, std::ref(pipe));
        EXPECT_TRUE(testing_support::waitUntil([&] { return pipe.pipeReady.load(); }));
        const auto opening = Clock::now();
        EXPECT_EQ(::DeleteFileW(widen(pipe.pipeName).c_str()), TRUE);
        std::this_thread::sleep_for(1ms);
        pipe.terminateRequested = true; // the stop goes first
        pipe.stopRequested = true;
        const auto request = Clock::now();
        server.join();
        // A round in which this thread itself came too late says nothing.
        if (request - opening < 5ms) {
            EXPECT_LT(Clock::now() - request, 900ms);
            ++inTime;
        }
        return inTime == 5;
    }));
}
