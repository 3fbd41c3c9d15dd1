#include "primitives/wide_text.h"

#include <gtest/gtest.h>

TEST(WideText, KeepsEachByteWithItsSign) {
    const std::basic_string<WCHAR> wide = widen("a\xE4\x80");
    EXPECT_EQ(wide, (std::basic_string<WCHAR>{'a', 0xFFE4, 0xFF80}));
    EXPECT_EQ(narrow(wide.data(), wide.size()), "a\xE4\x80");
}
