#pragma once

#include <memory>
#include <vector>

#include "platform/defaults/Defaults.h"
#include "scheduling/CRecordingEvent.h"

namespace takebox {

/// All scheduled events, in the user's order. The scheduler holds on to those that it has started.
using SchedulingEvents = std::vector<std::shared_ptr<CRecordingEvent>>;

/// The events of this process: made by the application, read by the scheduler, edited by the
/// scheduling window. Null until the application has made it. Main thread only.
extern std::unique_ptr<SchedulingEvents> gSchedulingEvents;

/// Fills gSchedulingEvents with the events of the preferences; leaves it as it is when they have
/// none stored or registered. An entry that is not an event is logged and passed over.
void readSchedulingEventsFromPreferences(const Defaults& defaults = Defaults::standard());

/// Writes gSchedulingEvents to the preferences and to the disk. @return false when the disk took it
/// not (it has been logged; the preferences try again at the next change).
bool saveSchedulingEventsToPreferences(Defaults& defaults = Defaults::standard());

}  // namespace takebox
