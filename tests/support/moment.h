#pragma once

#include "support/host.h"

#include <gtest/gtest.h>

namespace testing_support {

// When something came, as a test sees it: after the last look that missed it, before the first that
// found it. A busy machine makes the test look late, and that must not shift a bound.
struct Moment {
    using Time = std::chrono::steady_clock::time_point;
    Time before, after;
};

// It can't have come earlier than the first argument says.
template <typename Predicate> Moment awaitMoment(Moment::Time earliest, Predicate predicate) {
    Moment moment{earliest, earliest};
    EXPECT_TRUE(waitUntil([&] {
        const auto look = std::chrono::steady_clock::now();
        const bool found = predicate();
        moment.after = std::chrono::steady_clock::now();
        if (!found)
            moment.before = look;
        return found;
    }));
    return moment;
}

// The time between two moments is in these bounds. A promised minimum is compared with the upper
// one, a promised maximum with the lower one.
inline auto mostBetween(const Moment &first, const Moment &second) {
    return std::chrono::ceil<std::chrono::milliseconds>(second.after - first.before);
}
inline auto leastBetween(const Moment &first, const Moment &second) {
    return std::chrono::floor<std::chrono::milliseconds>(second.before - first.after);
}

} // namespace testing_support
