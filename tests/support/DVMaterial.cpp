#include "DVMaterial.h"
#include "support/ChildProcess.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QtEndian>
#include <algorithm>

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

std::vector<QByteArray> split(const QByteArray& data, int size) {
    std::vector<QByteArray> parts;
    for (qsizetype at = 0; at + size <= data.size(); at += size) {
        parts.push_back(data.mid(at, size));
    }
    return parts;
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool runFfmpeg(const QStringList& arguments) {
    return ChildProcess::execute(u"ffmpeg"_s,
                                 QStringList{u"-v"_s, u"quiet"_s, u"-y"_s} + arguments) == 0;
}

QByteArray word(qint64 value) {
    QByteArray bytes(4, 0);
    qToBigEndian(static_cast<std::uint32_t>(value), bytes.data());
    return bytes;
}

}  // namespace

std::vector<QByteArray> readDVFrames(const QString& path, int frameSize) {
    return split(contentsOf(path), frameSize);
}

std::vector<QByteArray> makeDVFrames(bool isPAL, bool is16By9, int count, const QString& filter) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"made.dv"_s);
    const QString source =
        isPAL ? u"testsrc2=s=720x576:r=25"_s : u"testsrc2=s=720x480:r=30000/1001"_s;
    runFfmpeg({u"-f"_s, u"lavfi"_s, u"-i"_s, source, u"-vf"_s, filter, u"-frames:v"_s,
               QString::number(count), u"-c:v"_s, u"dvvideo"_s, u"-pix_fmt"_s,
               isPAL ? u"yuv420p"_s : u"yuv411p"_s, u"-aspect"_s, is16By9 ? u"16:9"_s : u"4:3"_s,
               u"-f"_s, u"dv"_s, path});
    return readDVFrames(path, isPAL ? 144000 : 120000);
}

QByteArray cutOffMovie(int frames) {
    constexpr int kFramesOfPiece = 3;
    QByteArray content = QByteArray::fromHex("0000000877696465000000006d646174");  // wide, mdat
    const std::vector<QByteArray> made = makeDVFrames(true, false, frames);
    for (std::size_t begin = 0; begin < made.size(); begin += kFramesOfPiece) {
        const std::size_t end = std::min(made.size(), begin + kFramesOfPiece);
        QByteArray data;
        for (std::size_t i = begin; i < end; ++i) {
            data += made[i];
        }
        content += "vide" + word(data.size()) + word(static_cast<qint64>(end - begin)) +
                   word(made[begin].size()) + data;
    }
    return content;
}

std::vector<QByteArray> picturesByFfmpeg(const std::vector<QByteArray>& frames, QSize size) {
    const QTemporaryDir folder;
    const QString input = folder.filePath(u"in.dv"_s);
    const QString output = folder.filePath(u"out.rgb"_s);
    QFile file(input);
    if (!file.open(QIODevice::WriteOnly)) {
        return {};
    }
    for (const QByteArray& frame : frames) {
        file.write(frame);
    }
    file.close();
    runFfmpeg({u"-i"_s, input, u"-vf"_s, u"scale=%1:%2"_s.arg(size.width()).arg(size.height()),
               u"-pix_fmt"_s, u"rgb24"_s, u"-fps_mode"_s, u"passthrough"_s, u"-f"_s, u"rawvideo"_s,
               output});
    return split(contentsOf(output), size.width() * size.height() * 3);
}

}  // namespace takebox::test
