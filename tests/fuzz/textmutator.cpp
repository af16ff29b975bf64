// SPDX-License-Identifier: Apache-2.0
// Changes of structured text that bytes alone would take long to come upon: a number becomes one at the edge
// of what arithmetic can do, a line goes, comes twice or elsewhere. Every other change is libFuzzer's own.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace {

const char* const kNumbers[] = {
    "0",          "-0",          "1",          "-1",
    "2",          "3",           "4",          "0.5",
    "63.5",       "64",          "48",         "1e-300",
    "1e300",      "-1e300",      "3.5e38",     "1e-46",
    "2147483647", "-2147483648", "2147483648", "4294967296",
    "32766",      "32767",       "65536",      "1e7",
    ".Nan",       ".Inf",        "-.Inf",      "nan",
    "inf",        "-inf",        "1e-7",       "99999999999999999999",
    "0x7fffffff", "1073741824",  "-1e7",       "16777217",
    "",
};

using Random = std::minstd_rand;

size_t below(Random& random, size_t limit) {
    return limit == 0 ? 0 : random() % limit;
}

bool isOfNumber(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '+' || c == 'e';
}

void changeNumber(std::string& text, Random& random) {
    std::vector<std::pair<size_t, size_t>> numbers;
    for (size_t i = 0; i < text.size(); ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            continue;
        size_t from = i;
        while (from > 0 && isOfNumber(text[from - 1]))
            --from;
        while (i < text.size() && isOfNumber(text[i]))
            ++i;
        numbers.emplace_back(from, i - from);
    }
    if (numbers.empty())
        return;
    const auto [from, length] = numbers[below(random, numbers.size())];
    const auto kCount = std::size(kNumbers);
    text.replace(from, length, kNumbers[below(random, kCount)]);
}

void changeLine(std::string& text, Random& random) {
    std::vector<std::string> lines(1);
    for (const char c : text) {
        lines.back() += c;
        if (c == '\n')
            lines.emplace_back();
    }
    const size_t one = below(random, lines.size());
    const size_t other = below(random, lines.size());
    switch (below(random, 3)) {
        case 0:
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(one));
            break;
        case 1:
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(other), std::string(lines[one]));
            break;
        default:
            std::swap(lines[one], lines[other]);
            break;
    }
    text.clear();
    for (const std::string& line : lines)
        text += line;
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned int seed) {
    Random random(seed);
    random.discard(3);
    const size_t choice = below(random, 8);
    if (choice >= 4)
        return LLVMFuzzerMutate(data, size, maxSize);
    std::string text(reinterpret_cast<const char*>(data), size);
    for (size_t n = 0; n <= below(random, 3); ++n) {
        if (choice == 0)
            changeLine(text, random);
        else
            changeNumber(text, random);
    }
    if (text.size() > maxSize)
        return LLVMFuzzerMutate(data, size, maxSize);
    std::copy(text.begin(), text.end(), data);
    return text.size();
}
