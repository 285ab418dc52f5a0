#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "support/LogCapture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace takebox::test {
namespace {

// The fuzzer's entry, which aborts when atoms do not nest, on the same sequences every time.
TEST(MovieToolboxFuzzer, findsNoFileWhoseAtomsDoNotNest) {
    LogCapture log;
    std::mt19937 random(1);  // NOLINT(bugprone-*): the same sequences are wanted
    for (int run = 0; run < 1500; ++run) {
        std::vector<std::uint8_t> input(random() % 600);
        for (auto& byte : input) {
            byte = static_cast<std::uint8_t>(random());
        }
        EXPECT_EQ(LLVMFuzzerTestOneInput(input.data(), input.size()), 0);
    }
}

}  // namespace
}  // namespace takebox::test
