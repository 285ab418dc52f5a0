#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <string>
#include <vector>

/// Other people's programs that read movies: what they say about ours.
namespace takebox::test {

struct Output {
    int exitCode = -1;  ///< -1: the program could not be run
    QByteArray out;
    QByteArray error;
};
Output runReader(const QString& program, const QStringList& arguments);

/// What to give ffmpeg and ffprobe before "-i file". The reference movie needs leave to follow its
/// references; of a raw file they have to be told what it is.
QStringList inputArguments(const QString& path);

using Checksums = std::vector<std::string>;
/// The checksums of the first so many pictures (the whole file has less: of these). With `copied`
/// of the packets as they lie in the file, otherwise of what they decode to.
Checksums pictureChecksums(const QString& path, int count, bool copied = false);

/// What ffmpeg has to say when it decodes all picture and sound of a movie; nothing is good.
std::string warningsOf(const QString& path);

/// All sound, decoded, as 16-bit big-endian stereo.
QByteArray decodedSound(const QString& path);

/// ffprobe's streams, without a warning.
QJsonArray probedStreams(const QString& path);
/// MediaInfo's tracks, the general one first.
QJsonArray mediaInfoTracks(const QString& path);
/// ExifTool's tags, warnings and errors among them.
QJsonObject exifToolTags(const QString& path);

}  // namespace takebox::test
