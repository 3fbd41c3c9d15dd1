#include "primitives/wide_text.h"

#include <algorithm>

std::basic_string<WCHAR> widen(const std::string &text) {
    std::basic_string<WCHAR> wide(text.size(), WCHAR());
    std::transform(text.begin(), text.end(), wide.begin(), [](char character) {
        return static_cast<WCHAR>(static_cast<signed char>(character));
    });
    return wide;
}

std::string narrow(const WCHAR *text, std::size_t length) {
    std::string result(length, '\0');
    std::transform(text, text + length, result.begin(),
                   [](WCHAR unit) { return static_cast<char>(unit & 0xFF); });
    return result;
}
