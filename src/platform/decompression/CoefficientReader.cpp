#include "CoefficientReader.h"

namespace takebox::decompression {
namespace {

// Code words of one length that follow one another. Words for zeros only have no sign.
struct CodeGroup {
    struct Meaning {
        std::uint8_t zeros;  // before the coefficient
        std::uint8_t amplitude;
    };
    unsigned length;  // without the sign
    unsigned first;
    std::size_t count;
    std::array<Meaning, 16> meanings;
};

// The words of up to 12 bits but for end of block; the longer ones follow a rule.
constexpr std::array kCodeGroups{
    CodeGroup{2, 0x000, 1, {{{0, 1}}}},
    CodeGroup{3, 0x002, 1, {{{0, 2}}}},
    CodeGroup{4, 0x007, 3, {{{1, 1}, {0, 3}, {0, 4}}}},
    CodeGroup{5, 0x014, 4, {{{2, 1}, {1, 2}, {0, 5}, {0, 6}}}},
    CodeGroup{6, 0x030, 4, {{{3, 1}, {4, 1}, {0, 7}, {0, 8}}}},
    CodeGroup{7, 0x068, 8, {{{5, 1}, {6, 1}, {2, 2}, {1, 3}, {1, 4}, {0, 9}, {0, 10}, {0, 11}}}},
    CodeGroup{8, 0x0E0, 8, {{{7, 1}, {8, 1}, {9, 1}, {10, 1}, {3, 2}, {4, 2}, {2, 3}, {1, 5}}}},
    CodeGroup{
        8, 0x0E8, 8, {{{1, 6}, {1, 7}, {0, 12}, {0, 13}, {0, 14}, {0, 15}, {0, 16}, {0, 17}}}},
    CodeGroup{9, 0x1E0, 8, {{{11, 1}, {12, 1}, {13, 1}, {14, 1}, {5, 2}, {6, 2}, {3, 3}, {4, 3}}}},
    CodeGroup{9, 0x1E8, 8, {{{2, 4}, {2, 5}, {1, 8}, {0, 18}, {0, 19}, {0, 20}, {0, 21}, {0, 22}}}},
    CodeGroup{10, 0x3E0, 7, {{{5, 3}, {3, 4}, {3, 5}, {2, 6}, {1, 9}, {1, 10}, {1, 11}}}},
    CodeGroup{11, 0x7CE, 2, {{{0, 0}, {1, 0}}}},
    CodeGroup{11, 0x7D0, 6, {{{6, 3}, {4, 4}, {3, 6}, {1, 12}, {1, 13}, {1, 14}}}},
    CodeGroup{12, 0xFAC, 4, {{{2, 0}, {3, 0}, {4, 0}, {5, 0}}}},
    CodeGroup{12, 0xFB0, 8, {{{7, 2}, {8, 2}, {9, 2}, {10, 2}, {7, 3}, {8, 3}, {4, 5}, {3, 7}}}},
    CodeGroup{
        12, 0xFB8, 8, {{{2, 7}, {2, 8}, {2, 9}, {2, 10}, {2, 11}, {1, 15}, {1, 16}, {1, 17}}}},
};

constexpr unsigned kEndOfBlock = 0b0110;
constexpr unsigned kEndOfBlockLength = 4;

}  // namespace

constexpr CoefficientReader::Tables::Tables() {
    add(kEndOfBlockLength, kEndOfBlock, {kEndOfBlockLength, 0, 0});
    for (const CodeGroup& group : kCodeGroups) {
        for (std::size_t i = 0; i < group.count; ++i) {
            const auto [zeros, amplitude] = group.meanings[i];
            const unsigned length = group.length + (amplitude != 0 ? 1 : 0);
            add(group.length, group.first + static_cast<unsigned>(i),
                {static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(zeros + 1),
                 amplitude});
        }
    }
    // 1111110 and the number of zeros; 1111111 and the amplitude.
    for (unsigned zeros = 0; zeros < 64; ++zeros) {
        add(13, 0x1F80 + zeros, {13, static_cast<std::uint8_t>(zeros + 1), 0});
    }
    for (unsigned amplitude = 0; amplitude < 256; ++amplitude) {
        add(15, 0x7F00 + amplitude, {16, 1, static_cast<std::int16_t>(amplitude)});
    }
}

constexpr void CoefficientReader::Tables::add(unsigned wordLength, unsigned word, Code code) {
    const unsigned bits = wordLength <= kShortBits ? kShortBits : kLongBits;
    const unsigned first = word << (bits - wordLength);
    for (unsigned i = first; i < first + (1U << (bits - wordLength)); ++i) {
        (bits == kShortBits ? shortCodes[i] : longCodes[i - kFirstLong / 2]) = code;
    }
}

constinit const CoefficientReader::Tables CoefficientReader::kTables;

}  // namespace takebox::decompression
