#include "MovieReaders.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <QJsonDocument>

namespace takebox::test {

using namespace Qt::StringLiterals;

namespace {

/// Time code is data to ffmpeg, which has no decoder for data and says so of each such track.
std::string withoutNoteOnTimeCode(QByteArray text) {
    return text.replace("Unsupported codec with id 0 for input stream 2\n", "").toStdString();
}

}  // namespace

Output runReader(const QString& program, const QStringList& arguments) {
    ChildProcess process;
    process.start(program, arguments);
    process.closeWriteChannel();
    Output output;
    if (!process.waitForFinished(120000)) {
        output.error = "did not end in time";
        return output;
    }
    output.exitCode = process.exitCode();
    output.out = process.readAllStandardOutput();
    output.error = process.readAllStandardError();
    return output;
}

QStringList inputArguments(const QString& path) {
    if (path.endsWith(u".ref"_s)) {
        return {u"-f"_s, u"mov"_s, u"-enable_drefs"_s, u"1"_s};
    }
    if (path.endsWith(u".dv"_s)) {
        return {u"-f"_s, u"dv"_s};
    }
    if (path.endsWith(u".aud"_s)) {
        return {u"-f"_s, u"s16be"_s, u"-ar"_s, u"48000"_s, u"-ac"_s, u"2"_s};
    }
    return {};
}

Checksums pictureChecksums(const QString& path, int count, bool copied) {
    QStringList arguments{u"-v"_s, u"quiet"_s, u"-nostdin"_s};
    arguments += inputArguments(path) + QStringList{u"-i"_s, path, u"-map"_s, u"0:v"_s};
    if (copied) {
        arguments += {u"-c"_s, u"copy"_s};
    }
    arguments += {u"-frames:v"_s, QString::number(count), u"-f"_s, u"framemd5"_s, u"-"_s};
    const auto lines = runReader(u"ffmpeg"_s, arguments).out.split('\n');
    Checksums checksums;
    for (const QByteArray& line : lines) {
        if (!line.isEmpty() && !line.startsWith('#')) {
            checksums.push_back(line.mid(line.lastIndexOf(',') + 1).trimmed().toStdString());
        }
    }
    return checksums;
}

std::string warningsOf(const QString& path) {
    QStringList arguments{u"-v"_s, u"warning"_s, u"-nostdin"_s};
    arguments += inputArguments(path);
    arguments +=
        {u"-i"_s, path, u"-map"_s, u"0:v"_s, u"-map"_s, u"0:a"_s, u"-f"_s, u"null"_s, u"-"_s};
    const Output output = runReader(u"ffmpeg"_s, arguments);
    return withoutNoteOnTimeCode(output.error);
}

QByteArray decodedSound(const QString& path) {
    QStringList arguments{u"-v"_s, u"error"_s, u"-nostdin"_s};
    arguments += inputArguments(path);
    arguments += {u"-i"_s,        path,    u"-map"_s,  u"0:a"_s, u"-c:a"_s,
                  u"pcm_s16be"_s, u"-f"_s, u"s16be"_s, u"-"_s};
    return runReader(u"ffmpeg"_s, arguments).out;
}

QJsonArray probedStreams(const QString& path) {
    QStringList arguments{u"-v"_s, u"warning"_s};
    arguments += inputArguments(path);
    arguments += {u"-show_streams"_s, u"-of"_s, u"json"_s, path};
    const Output output = runReader(u"ffprobe"_s, arguments);
    EXPECT_EQ(withoutNoteOnTimeCode(output.error), "");
    return QJsonDocument::fromJson(output.out).object()[u"streams"_s].toArray();
}

QJsonArray mediaInfoTracks(const QString& path) {
    const Output output = runReader(u"mediainfo"_s, {u"--Output=JSON"_s, path});
    const auto document = QJsonDocument::fromJson(output.out).object();
    return document[u"media"_s].toObject()[u"track"_s].toArray();
}

QJsonObject exifToolTags(const QString& path) {
    const Output output =
        runReader(u"exiftool"_s, {u"-json"_s, u"-n"_s, u"-a"_s, u"-G1"_s, u"-validate"_s,
                                  u"-warning"_s, u"-error"_s, u"-all"_s, path});
    return QJsonDocument::fromJson(output.out).array().first().toObject();
}

}  // namespace takebox::test
