#include "platform/avc/virtualdeck/VirtualDeckSettings.h"

#include <QRegularExpression>
#include <QStringList>
#include <algorithm>
#include <array>
#include <cmath>

#include "platform/avc/virtualdeck/FileSource.h"
#include "platform/avc/virtualdeck/SignalSource.h"

namespace takebox::avc {
namespace {

using namespace Qt::StringLiterals;

/// Reads a value into the settings. @return what is expected, when the value is not that.
using Reader = QString (*)(const QString& value, VirtualDeckSettings& settings);

QString readYesNo(const QString& value, bool& field) {
    field = value == u"yes"_s;
    return field || value == u"no"_s ? QString() : u"yes or no"_s;
}

QString readGuid(const QString& value, VirtualDeckSettings& settings) {
    static const QRegularExpression form(u"^[0-9A-Fa-f]{16}$"_s);
    if (!form.match(value).hasMatch()) {
        return u"16 hexadecimal digits"_s;
    }
    settings.guid = value.toULongLong(nullptr, 16);
    return {};
}

QString readName(const QString& value, VirtualDeckSettings& settings) {
    settings.name = value;
    return {};
}

QString readSpeed(const QString& value, VirtualDeckSettings& settings) {
    bool isNumber = false;
    const double speed = value.toDouble(&isNumber) * static_cast<double>(kRealTime);
    if (!isNumber || !(speed >= 1) || speed > static_cast<double>(kFastest)) {
        return u"a number from 0.001 to 1000, where 1 is real time"_s;
    }
    settings.speed = std::llround(speed);
    return {};
}

QString readLoop(const QString& value, VirtualDeckSettings& settings) {
    return readYesNo(value, settings.loop);
}

QString readCue(const QString& value, VirtualDeckSettings& settings) {
    return readYesNo(value, settings.cue);
}

QString readWide(const QString& value, VirtualDeckSettings& settings) {
    return settings.source == VirtualDeckSettings::Source::kFile
               ? u"the test signal, a file has its own aspect"_s
               : readYesNo(value, settings.wide);
}

QString readStart(const QString& value, VirtualDeckSettings& settings) {
    settings.start = TapeTimeCode::parse(value);
    const bool isPAL = settings.source == VirtualDeckSettings::Source::kPAL;
    const bool isInRange = settings.start && (!isPAL || settings.start->frames < 25);
    return isInRange ? QString() : u"a time code hh:mm:ss:ff"_s;
}

struct FaultName {
    QLatin1StringView name;
    DeckFault kind = DeckFault::kShortFrame;
    std::uint32_t usualValue = 0;
};

constexpr std::array kFaultNames{
    FaultName{"short"_L1, DeckFault::kShortFrame, 80},
    FaultName{"incomplete"_L1, DeckFault::kIncompleteFrame, 0},
    FaultName{"missing"_L1, DeckFault::kMissingFrame, 0},
    FaultName{"overrun"_L1, DeckFault::kOverrun, 267},
    FaultName{"interrupt"_L1, DeckFault::kInterruption, 200},
    FaultName{"close"_L1, DeckFault::kCloseRequest, 0},
    FaultName{"vanish"_L1, DeckFault::kDisappearance, 0},
};

QString readFault(const QString& value, VirtualDeckSettings& settings) {
    static const QRegularExpression form(u"^([a-z]+)@([0-9]{1,9})(?::([0-9]{1,9}))?$"_s);
    const auto match = form.match(value);
    const auto* const found =
        std::find_if(kFaultNames.begin(), kFaultNames.end(),
                     [&match](const FaultName& each) { return match.captured(1) == each.name; });
    if (!match.hasMatch() || found == kFaultNames.end()) {
        QStringList names;
        for (const FaultName& each : kFaultNames) {
            names << each.name;
        }
        return u"KIND@FRAME or KIND@FRAME:VALUE with a kind of %1"_s.arg(names.join(u", "_s));
    }
    const QString number = match.captured(3);
    settings.faults.push_back({found->kind, match.captured(2).toULongLong(),
                               number.isEmpty() ? found->usualValue : number.toUInt()});
    return {};
}

struct Key {
    QLatin1StringView name;
    Reader read = nullptr;
};

constexpr std::array kKeys{
    Key{"guid"_L1, readGuid}, Key{"name"_L1, readName},   Key{"speed"_L1, readSpeed},
    Key{"loop"_L1, readLoop}, Key{"start"_L1, readStart}, Key{"cue"_L1, readCue},
    Key{"wide"_L1, readWide}, Key{"fault"_L1, readFault},
};

QStringList keyNames() {
    QStringList names;
    for (const Key& key : kKeys) {
        names << key.name;
    }
    return names;
}

/// Only a comma before a known key separates: names of files and decks may have others.
QStringList split(const QString& spec) {
    static const QRegularExpression separator(u",(?=(?:%1)=)"_s.arg(keyNames().join(u'|')));
    return spec.split(separator);
}

bool readSource(const QString& text, VirtualDeckSettings& settings, QString& error) {
    using Source = VirtualDeckSettings::Source;
    const QString first = text.section(u',', 0, 0);
    const bool isSignal = first == u"ntsc"_s || first == u"pal"_s;
    if (isSignal && first != text) {
        error = u"A virtual deck has no setting \"%1\", only %2."_s.arg(text.section(u',', 1),
                                                                        keyNames().join(u", "_s));
        return false;
    }
    if (text.isEmpty()) {
        error = u"A virtual deck needs a source: ntsc, pal or a file of DV frames."_s;
        return false;
    }
    settings.source = !isSignal ? Source::kFile : first == u"pal"_s ? Source::kPAL : Source::kNTSC;
    settings.filePath = isSignal ? QString() : text;
    return true;
}

bool readSetting(const QString& text, VirtualDeckSettings& settings, QString& error) {
    const QString name = text.section(u'=', 0, 0);
    const QString value = text.section(u'=', 1);
    const auto* const key = std::find_if(kKeys.begin(), kKeys.end(),
                                         [&name](const Key& each) { return name == each.name; });
    const QString expected = key->read(value, settings);
    if (expected.isEmpty()) {
        return true;
    }
    error = u"Virtual deck: %1=%2 is wrong, %1= is for %3."_s.arg(name, value, expected);
    return false;
}

}  // namespace

std::optional<VirtualDeckSettings> parseVirtualDeckSettings(const QString& spec, QString& error) {
    VirtualDeckSettings settings;
    const QStringList parts = split(spec);
    if (!readSource(parts.front(), settings, error)) {
        return std::nullopt;
    }
    for (const QString& part : parts.mid(1)) {
        if (!readSetting(part, settings, error)) {
            return std::nullopt;
        }
    }
    if (settings.source == VirtualDeckSettings::Source::kFile &&
        loadTape(settings, {}, error) == nullptr) {
        return std::nullopt;
    }
    return settings;
}

std::unique_ptr<FrameSource> loadTape(const VirtualDeckSettings& settings, std::string_view label,
                                      QString& error) {
    using Source = VirtualDeckSettings::Source;
    if (settings.source == Source::kFile) {
        return FileSource::open(settings.filePath, settings.start, error);
    }
    const DVStandard standard =
        settings.source == Source::kPAL ? DVStandard::kPAL : DVStandard::kNTSC;
    return std::make_unique<SignalSource>(
        TestSignal(standard, settings.wide, settings.start.value_or(TapeTimeCode{}), label));
}

}  // namespace takebox::avc
