#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>
#include <vector>

/// DV frames to test with, and what another program makes of them.
namespace takebox::test {

/// The frames of a file of DV frames; a part of a frame at the end is left out.
std::vector<QByteArray> readDVFrames(const QString& path, int frameSize);

/// Frames of a moving test picture made by ffmpeg, with one of its filters applied. Empty when
/// ffmpeg is not installed.
std::vector<QByteArray> makeDVFrames(bool isPAL, bool is16By9, int count,
                                     const QString& filter = QStringLiteral("null"));

/// A movie whose end was never written: media data of PAL frames with its records (docs/files.md).
QByteArray cutOffMovie(int frames);

/// The pictures of the frames as ffmpeg decodes them whole and scales them, three bytes (red,
/// green, blue) a pixel, one array a frame.
std::vector<QByteArray> picturesByFfmpeg(const std::vector<QByteArray>& frames, QSize size);

}  // namespace takebox::test
