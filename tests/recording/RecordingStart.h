#pragma once

#include <gmock/gmock.h>

#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "recording/RecordingBench.h"

namespace takebox::test {

/// For tests of what pressing the record button does.
class RecordingStart : public RecordingBench {
protected:
    void record() const { controller().recordButtonPushed(); }
    void record(const QString& name) const {
        controller().outlets().recordingNameField.setStringValue(name);
        record();
    }
    void expectAlert(const QString& title, const QString& message) const {
        ASSERT_EQ(services.alerts.size(), 1U);
        EXPECT_EQ(services.alerts[0].first, title);
        EXPECT_EQ(services.alerts[0].second, message);
    }
    void expectButtonsOfRest() const {
        auto& outlets = controller().outlets();
        EXPECT_TRUE(outlets.recordButton.isEnabled());
        EXPECT_TRUE(outlets.settingsButton.isEnabled());
        EXPECT_FALSE(outlets.stopButton.isEnabled());
        EXPECT_FALSE(outlets.pauseButton.isEnabled());
    }
    static void prefer(const QString& key, const QVariant& value) {
        Defaults::standard().setObject(key, value);
    }
    [[nodiscard]] static std::string text(const TimeCodeRecord& timeCode) {
        return QString::asprintf("%02i:%02i:%02i:%02i", timeCode.hours, timeCode.minutes,
                                 timeCode.seconds, timeCode.frames)
            .toStdString();
    }
};

}  // namespace takebox::test
