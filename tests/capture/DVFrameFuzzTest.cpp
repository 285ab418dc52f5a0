#include "support/FuzzInputs.h"

namespace takebox::test {
namespace {

TEST(DVFrameFuzzer, findsNoFrameThatIsReadBeyondItsEnd) {
    runFuzzer("DVFrameFuzzer", 40);
}

}  // namespace
}  // namespace takebox::test
