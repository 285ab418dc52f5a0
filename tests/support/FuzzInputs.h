#pragma once

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <cstdint>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace takebox::test {

/// Gives the fuzzer that is linked in its corpus, and each input of it with a few bytes changed, so
/// many times. The entry aborts when it finds something; the inputs are the same in each run.
inline void runFuzzer(const char* name, int changesOfEach) {
    const QDir folder(QStringLiteral(TAKEBOX_CORPUS) + QLatin1Char('/') + QLatin1String(name));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    ASSERT_FALSE(names.isEmpty()) << qPrintable(folder.path());
    std::mt19937 random(1);  // NOLINT(bugprone-*): the same inputs are wanted
    for (const QString& input : names) {
        QFile file(folder.filePath(input));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        for (int change = 0; change <= changesOfEach; ++change) {
            std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
            for (unsigned i = 0; change != 0 && !data.empty() && i < 1 + random() % 8; ++i) {
                data[random() % data.size()] = static_cast<std::uint8_t>(random());
            }
            if (change % 4 == 3) {
                data.resize(random() % (data.size() + 1));
            }
            EXPECT_EQ(LLVMFuzzerTestOneInput(data.data(), data.size()), 0);
        }
    }
}

}  // namespace takebox::test
