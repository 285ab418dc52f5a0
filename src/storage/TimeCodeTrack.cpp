// The time code track of a movie: one sample, which says what the first frame's time code is.

#include <array>
#include <cmath>
#include <string>

#include "platform/log/Log.h"
#include "storage/QuickTimeMovie.h"

namespace takebox {

using namespace movietoolbox;

namespace {

constexpr std::int32_t kHeightAtCreation = 20;
constexpr const char* kDisplayFont = "Lucida Grande";
// Ascent, descent and 2, of that font and of DejaVu Sans alike in 12 points (12 + 3 + 2). There
// need not be a font on a machine without a screen to ask.
constexpr std::int32_t kHeightOfDisplayFont = 17;

/// The source name is read from a field of 256 bytes as a string with its length in front; there
/// the length is the letter 'D'. The odd name that results is what such movies carry.
std::string sourceName() {
    std::array<char, 256> field{"DV Timecode"};
    return {field.data() + 1, static_cast<std::size_t>(field[0])};
}

Fixed timeCodeTrackWidth(const Track& videoTrack, FourCharCode codec) {
    constexpr std::int32_t kFullWidth = 1920;
    // The width is compared as it stands, in 16.16.
    const bool isAnamorphic = codec == fourCC("dvh5") || codec == fourCC("dvh6");
    return isAnamorphic && videoTrack.width > 1279 ? Long2Fix(kFullWidth) : videoTrack.width;
}

std::array<std::byte, 4> bigEndian(std::uint32_t value) {
    return {static_cast<std::byte>(value >> 24), static_cast<std::byte>(value >> 16),
            static_cast<std::byte>(value >> 8), static_cast<std::byte>(value)};
}

}  // namespace

Status QuickTimeMovie::addTimeCodeSample() {
    Track* const videoTrack = GetMovieIndTrackType(_movie.get(), fourCC("vide"));
    if (videoTrack == nullptr) {
        const Status status = GetMoviesError();
        printMessage("GetMovieIndTrackType failed (err = %i)\n", status);
        return noted(status);
    }
    const std::int32_t videoTimeScale = videoTrack->media->timeScale;
    const Fixed width = timeCodeTrackWidth(*videoTrack, _videoDescriptionHandle.cType);
    // These two report success although the movie gets no time code: it is good without.
    Track* const track = NewMovieTrack(_movie.get(), width, Long2Fix(kHeightAtCreation), 0);
    if (track == nullptr) {
        printMessage("NewMovieTrack (timecode) failed (err = %i)\n", 0);
        return kNoError;
    }
    Media* const media = NewTrackMedia(track, fourCC("tmcd"), videoTimeScale);
    if (media == nullptr) {
        printMessage("NewTrackMedia (timecode) failed (err = %i)\n", 0);
        return kNoError;
    }
    media->displayFont = kDisplayFont;
    track->height = Long2Fix(kHeightOfDisplayFont);
    track->verticalPosition = videoTrack->height;
    track->isEnabled = false;
    if (const Status status = BeginMediaEdits(_movie.get(), media); status != kNoError) {
        printMessage("BeginMediaEdits (timecode) failed (err = %i)\n", status);
        return noted(status);
    }
    return noted(addTimeCodeToMedia(videoTrack, track, media, timeCodeDescription(videoTimeScale)));
}

TimeCodeDescription QuickTimeMovie::timeCodeDescription(std::int32_t videoTimeScale) const {
    TimeCodeDescription description;
    auto& definition = description.timeCodeDef;
    definition.flags = TimeCodeDef::k24HourMax | (_dropFrame ? TimeCodeDef::kDropFrame : 0);
    definition.fTimeScale = videoTimeScale;
    definition.frameDuration = 100;
    definition.numFrames =
        static_cast<std::uint8_t>(static_cast<std::uint32_t>(std::lround(videoTimeScale / 100.0)));
    description.srcRef = sourceName();
    return description;
}

Status QuickTimeMovie::addTimeCodeToMedia(Track* videoTrack, Track* timeCodeTrack,
                                          Media* timeCodeMedia,
                                          const TimeCodeDescription& description) {
    const std::uint64_t duration = GetMediaDuration(videoTrack->media.get());
    const auto frameNumber = bigEndian(TCTimeCodeToFrameNumber(
        description.timeCodeDef, _startTimeCode.hours, _startTimeCode.minutes,
        _startTimeCode.seconds, _startTimeCode.frames));
    const std::array oneSample{SampleSizeRun{1, frameNumber.size()}};
    Status status = AddMediaSample(_movie.get(), timeCodeMedia, frameNumber,
                                   static_cast<std::int64_t>(duration), description, oneSample);
    if (status != kNoError) {
        logMessage("AddMediaSample (timecode) failed! (%i)", status);
        return status;
    }
    status = EndMediaEdits(timeCodeMedia);
    if (status != kNoError) {
        logMessage("EndMediaEdits (timecode) failed! (%i)", status);
        return status;
    }
    status = InsertMediaIntoTrack(timeCodeTrack, duration);
    if (status != kNoError) {
        logMessage("InsertMediaIntoTrack (timecode) failed! (%i)", status);
        return status;
    }
    status = AddTrackReference(videoTrack, timeCodeTrack, fourCC("tmcd"));
    if (status != kNoError) {
        logMessage("AddTrackReference (timecode) failed! (%i)", status);
    }
    return status;
}

}  // namespace takebox
