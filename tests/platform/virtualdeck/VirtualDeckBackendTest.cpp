#include "platform/avc/virtualdeck/VirtualDeckBackend.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <set>

#include "FrameCollector.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

class VirtualDecks {
public:
    explicit VirtualDecks(const QStringList& specs) {
        std::vector<avc::VirtualDeckSettings> settings;
        for (const QString& spec : specs) {
            QString error;
            settings.push_back(avc::parseVirtualDeckSettings(spec, error).value());
        }
        mBackend = std::make_unique<avc::VirtualDeckBackend>(std::move(settings));
    }
    const avc::AVCDeviceController& offer() {
        avc::AVCBackends backends;
        backends.push_back(std::move(mBackend));
        avc::CreateAVCDeviceController(mController, std::move(backends), nullptr, nullptr);
        return *mController;
    }

private:
    std::unique_ptr<avc::AVCBackend> mBackend;
    std::unique_ptr<avc::AVCDeviceController> mController;
};

TEST(VirtualDeckBackend, offersItsDecksInOrderUnderDistinctNames) {
    QTemporaryDir folder;
    const QString tape = writeTape(folder.path(), avc::DVStandard::kPAL, 1);
    VirtualDecks decks({u"ntsc"_s, u"pal"_s, tape, u"ntsc"_s, u"pal,name=Mine"_s, u"ntsc"_s});
    const auto& controller = decks.offer();
    QStringList names;
    std::set<std::uint64_t> guids;
    for (int i = 0; i < controller.deviceCount(); ++i) {
        names << QString::fromUtf8(controller.deviceAtIndex(i)->deviceName());
        guids.insert(controller.deviceAtIndex(i)->guid());
    }
    EXPECT_EQ(names, (QStringList{u"Virtual NTSC deck"_s, u"Virtual PAL deck"_s, u"tape"_s,
                                  u"Virtual NTSC deck 2"_s, u"Mine"_s, u"Virtual NTSC deck 3"_s}));
    EXPECT_EQ(guids.size(), 6U);
}

TEST(VirtualDeckBackend, givesTheSameDeckTheSameGuidAgain) {
    VirtualDecks first({u"ntsc"_s, u"pal"_s});
    VirtualDecks again({u"ntsc,speed=2"_s, u"pal,name=Other"_s});
    const auto& one = first.offer();
    const auto& other = again.offer();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(one.deviceAtIndex(i)->guid(), other.deviceAtIndex(i)->guid());
    }
    // Stored settings hang on these values.
    EXPECT_EQ(avc::usualGuid({}, 1) >> 40, 0x025442U);
    EXPECT_NE(avc::usualGuid({}, 1), avc::usualGuid({}, 2));
}

TEST(VirtualDeckBackend, leavesOutAGuidThatIsTaken) {
    LogCapture log;
    VirtualDecks decks({u"ntsc,guid=0000000000000001"_s, u"pal,guid=0000000000000001"_s});
    EXPECT_EQ(decks.offer().deviceCount(), 1);
    EXPECT_EQ(log.count("The virtual deck \"Virtual PAL deck\" is left out: another device has the "
                        "GUID 0000000000000001"),
              1);
}

TEST(VirtualDeckBackend, leavesOutAFileThatIsGone) {
    LogCapture log;
    QTemporaryDir folder;
    const QString tape = writeTape(folder.path(), avc::DVStandard::kPAL, 1);
    VirtualDecks decks({tape, u"pal"_s});
    ASSERT_TRUE(QFile::remove(tape));
    EXPECT_EQ(decks.offer().deviceCount(), 1);
    EXPECT_TRUE(log.containsText("The virtual deck \"tape\" is left out. Cannot open"));
    EXPECT_TRUE(log.containsText("No such file or directory"));
}

}  // namespace
}  // namespace takebox::test
