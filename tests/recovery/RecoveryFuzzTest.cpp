#include "support/FuzzInputs.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

TEST(RecoveryFuzzer, findsNoMovieThatLeadsOutsideItsFile) {
    const LogCapture log;
    runFuzzer("RecoveryFuzzer", 1500);
}

}  // namespace
}  // namespace takebox::test
