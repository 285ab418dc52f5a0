#include <QElapsedTimer>
#include <algorithm>
#include <cerrno>

#include "FirewireStack.h"
#include "platform/avc/ieee1394/Diagnosis.h"

namespace takebox::test {
namespace {

using Lines = std::vector<avc::DiagnosisLine>;

const avc::DiagnosisLine* find(const Lines& lines, const std::string& topic) {
    const auto found = std::find_if(lines.begin(), lines.end(), [&](const auto& line) {
        return line.topic.find(topic) != std::string::npos;
    });
    return found != lines.end() ? &*found : nullptr;
}

class FirewireDiagnosis : public FirewireStack {};

TEST(FirewireDiagnosisWithoutBus, saysInUnderASecondWhatIsMissingAndWhatToDo) {
    QElapsedTimer timer;
    timer.start();
    const auto lines = avc::diagnoseFireWire();
    EXPECT_LT(timer.elapsed(), limit(1000));
    const auto* const driver = find(lines, "driver");
    ASSERT_NE(driver, nullptr);
    EXPECT_FALSE(driver->advice.empty());
    const auto* const controller = find(lines, "controller");
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->finding, "none found");
    EXPECT_FALSE(controller->advice.empty());
}

TEST_F(FirewireDiagnosis, tellsOfDevicesWithNameNumberAndSignal) {
    firewire("deck " + std::string(kDeckA) + " model=DV-100 source=ntsc:1");
    firewire("deck " + std::string(kDeckB) + " model=DV-200 format=hdv");
    const auto lines = avc::diagnoseFireWire();
    EXPECT_EQ(find(lines, "controller")->finding, "1 working");
    const auto* const good = find(lines, "Device Nordlicht DV-100");
    ASSERT_NE(good, nullptr);
    EXPECT_EQ(good->finding, "GUID 08004601020304aa, DV, 525/60, with tape");
    EXPECT_EQ(good->advice, "");
    const auto* const other = find(lines, "Device Nordlicht DV-200");
    ASSERT_NE(other, nullptr);
    EXPECT_NE(other->advice, "");
    ASSERT_NE(find(lines, "/dev/fw1"), nullptr);
    EXPECT_NE(find(lines, "/dev/fw1")->finding.find("can be opened"), std::string::npos);
}

TEST_F(FirewireDiagnosis, leavesOtherKindsOfDevicesAlone) {
    firewire("deck " + std::string(kDeckA) + " model=Lab-1 units=camera");
    const auto lines = avc::diagnoseFireWire();
    const auto* const camera = find(lines, "Device Nordlicht Lab-1");
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->finding, "GUID 08004601020304aa, not a DV device");
    EXPECT_EQ(camera->advice, "");
}

TEST_F(FirewireDiagnosis, tellsWhoMayOpenADeviceFileAndHowToBeAllowed) {
    firewire("deck " + std::string(kDeckA) + " access=no");
    const auto lines = avc::diagnoseFireWire();
    const auto* const file = find(lines, "/dev/fw1");
    ASSERT_NE(file, nullptr);
    EXPECT_NE(file->finding.find("root:root, mode 0"), std::string::npos) << file->finding;
    EXPECT_NE(file->finding.find("cannot be opened (Permission denied)"), std::string::npos);
    EXPECT_NE(file->advice.find("group video"), std::string::npos);
}

TEST_F(FirewireDiagnosis, advisesOnTheReason) {
    firewire("deck " + std::string(kDeckA) + " model=DV-100 access=gone");
    firewire("deck " + std::string(kDeckB) + " model=DV-200 access=no");
    const auto lines = avc::diagnoseFireWire();
    ASSERT_NE(find(lines, "/dev/fw1"), nullptr);
    EXPECT_EQ(find(lines, "/dev/fw1")->advice, "Plug the device in again.");
    ASSERT_NE(find(lines, "/dev/fw2"), nullptr);
    EXPECT_NE(find(lines, "/dev/fw2")->advice.find("group video"), std::string::npos);
    for (const char* topic : {"Device Nordlicht DV-100", "Device Nordlicht DV-200"}) {
        ASSERT_NE(find(lines, topic), nullptr) << topic;
        EXPECT_NE(find(lines, topic)->finding.find("could not be asked"), std::string::npos);
        EXPECT_EQ(find(lines, topic)->advice, "") << "once is enough";
    }
}

TEST(FirewireAdvice, isByTheReason) {
    EXPECT_EQ(avc::adviceAfterOpening(0), "");
    EXPECT_NE(avc::adviceAfterOpening(EPERM).find("group video"), std::string::npos);
    EXPECT_EQ(avc::adviceAfterOpening(ENODEV), avc::adviceAfterOpening(ENOENT));
    EXPECT_NE(avc::adviceAfterOpening(EBUSY).find("other program"), std::string::npos);
    EXPECT_NE(avc::adviceAfterOpening(EMFILE).find("ulimit"), std::string::npos);
    EXPECT_NE(avc::adviceAfterOpening(EIO).find("restart the computer"), std::string::npos);
}

TEST_F(FirewireDiagnosis, tellsWhenNothingIsSwitchedOn) {
    const auto lines = avc::diagnoseFireWire();
    const auto* const devices = find(lines, "FireWire devices");
    ASSERT_NE(devices, nullptr);
    EXPECT_EQ(devices->finding, "none");
    EXPECT_FALSE(devices->advice.empty());
}

}  // namespace
}  // namespace takebox::test
