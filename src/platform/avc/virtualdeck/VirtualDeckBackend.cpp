#include "platform/avc/virtualdeck/VirtualDeckBackend.h"

#include <QFileInfo>
#include <QStringList>
#include <memory>
#include <utility>

#include "platform/avc/virtualdeck/VirtualDeck.h"
#include "platform/log/Log.h"

namespace takebox::avc {
namespace {

using namespace Qt::StringLiterals;
using Source = VirtualDeckSettings::Source;

QString standardName(const VirtualDeckSettings& settings) {
    return settings.source == Source::kPAL ? u"PAL"_s : u"NTSC"_s;
}

QString usualName(const VirtualDeckSettings& settings) {
    return settings.source == Source::kFile ? QFileInfo(settings.filePath).completeBaseName()
                                            : u"Virtual %1 deck"_s.arg(standardName(settings));
}

QString labelInPicture(const VirtualDeckSettings& settings, int number) {
    return settings.name.isEmpty() ? u"%1 deck %2"_s.arg(standardName(settings)).arg(number)
                                   : settings.name;
}

constexpr std::uint64_t fnv1a(std::uint64_t hash, std::uint8_t byte) {
    return (hash ^ byte) * 0x100000001B3ULL;
}

}  // namespace

std::uint64_t usualGuid(const VirtualDeckSettings& settings, int number) {
    const QString source = settings.source == Source::kFile
                               ? QFileInfo(settings.filePath).absoluteFilePath()
                               : standardName(settings);
    std::uint64_t hash = 0xCBF29CE484222325ULL;
    for (const char character : source.toUtf8()) {
        hash = fnv1a(hash, static_cast<std::uint8_t>(character));
    }
    hash = fnv1a(hash, static_cast<std::uint8_t>(number));
    // A locally administered company ID, which no device on a bus has.
    constexpr std::uint64_t kCompany = 0x02'54'42ULL << 40;
    return kCompany | (hash & 0xFF'FFFF'FFFFULL);
}

VirtualDeckBackend::VirtualDeckBackend(std::vector<VirtualDeckSettings> settings)
    : mSettings(std::move(settings)) {}

void VirtualDeckBackend::start(AVCDeviceController& controller) {
    QStringList usualNames;
    int number = 0;
    for (const VirtualDeckSettings& each : mSettings) {
        QString name = each.name;
        if (name.isEmpty()) {
            usualNames << usualName(each);
            const auto same = usualNames.count(usualNames.back());
            name = same == 1 ? usualNames.back() : u"%1 %2"_s.arg(usualNames.back()).arg(same);
        }
        addDeck(controller, each, name, ++number);
    }
}

void VirtualDeckBackend::addDeck(AVCDeviceController& controller,
                                 const VirtualDeckSettings& settings, const QString& name,
                                 int number) {
    const QByteArray utf8Name = name.toUtf8();
    const std::uint64_t guid = settings.guid.value_or(usualGuid(settings, number));
    if (controller.findDeviceByGuid(guid) != nullptr) {
        logMessage("The virtual deck \"%s\" is left out: another device has the GUID %016llx",
                   utf8Name.constData(), static_cast<unsigned long long>(guid));
        return;
    }
    QString error;
    auto tape = loadTape(settings, labelInPicture(settings, number).toStdString(), error);
    if (tape == nullptr) {
        logMessage("The virtual deck \"%s\" is left out. %s", utf8Name.constData(),
                   error.toUtf8().constData());
        return;
    }
    auto deck = std::make_unique<VirtualDeck>(
        VirtualDeck::Identity{
            guid, {utf8Name.constData(), static_cast<std::size_t>(utf8Name.size())}, number},
        settings, std::move(tape), controller);
    mDecks.push_back(deck.get());
    controller.addDevice(std::move(deck));
}

}  // namespace takebox::avc
