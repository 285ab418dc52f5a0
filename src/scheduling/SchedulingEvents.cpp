#include "scheduling/SchedulingEvents.h"

#include "capture/PreferenceKeys.h"

#include "platform/log/Log.h"

namespace takebox {

std::unique_ptr<SchedulingEvents> gSchedulingEvents;

void readSchedulingEventsFromPreferences(const Defaults& defaults) {
    const QVariant stored = defaults.objectForKey(OxaPrefSchedulingEventsKey);
    if (!gSchedulingEvents || !stored.isValid()) {
        return;
    }
    if (stored.typeId() != QMetaType::QVariantList) {
        logMessage("The scheduled events in the preferences are not a list and are left out");
        return;
    }
    gSchedulingEvents->clear();
    const QVariantList entries = stored.toList();
    for (const auto& entry : entries) {
        if (entry.typeId() == QMetaType::QVariantMap) {
            gSchedulingEvents->push_back(std::make_shared<CRecordingEvent>(entry.toMap()));
        } else {
            logMessage("A scheduled event in the preferences cannot be read and is left out");
        }
    }
}

bool saveSchedulingEventsToPreferences(Defaults& defaults) {
    if (!gSchedulingEvents) {
        return true;
    }
    QVariantList entries;
    for (const auto& event : *gSchedulingEvents) {
        entries.append(event->settingsDictionary());
    }
    defaults.setObject(OxaPrefSchedulingEventsKey, entries);
    return defaults.synchronize();
}

}  // namespace takebox
