#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

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

/// A checksum for each frame of a stream, "v" or "a". With `copied` of the packets as they lie in
/// the file, otherwise of the decoded picture. An error of ffmpeg is in the list as well.
QStringList frameChecksums(const QString& path, const QString& stream, bool copied);

/// All sound, decoded, as 16-bit big-endian stereo.
QByteArray decodedSound(const QString& path);

/// ffprobe's streams, without a warning.
QJsonArray probedStreams(const QString& path);
/// MediaInfo's tracks, the general one first.
QJsonArray mediaInfoTracks(const QString& path);
/// ExifTool's tags, warnings and errors among them.
QJsonObject exifToolTags(const QString& path);

}  // namespace takebox::test
