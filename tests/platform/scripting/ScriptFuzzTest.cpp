#include "support/FuzzInputs.h"

namespace takebox::test {
namespace {

TEST(ScriptFuzzer, findsNoFileThatCannotBeLoadedAndCompiledOrRefused) {
    runFuzzer("ScriptFuzzer", 300);
}

}  // namespace
}  // namespace takebox::test
