#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <vector>

/// Movies as a recording makes them, of real or generated DV.
namespace takebox::test {

/// DV frames and their sound, as the receive thread gets them.
struct Material {
    QString name;
    bool isPAL = false;
    QByteArray video;  ///< whole frames
    QByteArray sound;  ///< 16-bit big-endian stereo, 48 kHz

    [[nodiscard]] int frameSize() const { return isPAL ? 144000 : 120000; }
    [[nodiscard]] int frames() const { return static_cast<int>(video.size() / frameSize()); }
    [[nodiscard]] double seconds() const { return frames() / (isPAL ? 25.0 : 29.97); }
};

/// Generated PAL and NTSC material, and the samples when they are there.
const std::vector<Material>& allMaterial();
const Material& generatedMaterial(bool isPAL);

/// The files of one recording in a folder of its own: Take.dv, Take.aud, Take.ref and Take.mov.
class RecordedMovies {
public:
    explicit RecordedMovies(const Material& material);

    /// The recording's name and, below its folder, the folders of raw files and of movies.
    void setNames(const QString& name, const QString& rawFolder, const QString& movieFolder);
    /// Gives the folder that holds everything another place.
    void moveFolder();
    /// The raw files hold this much of the material.
    void writeRawFiles(int frames);
    void makeReferenceMovie(double seconds);
    /// At the pace of the disk, so that nothing is dropped.
    void makeSelfContainedMovie();

    [[nodiscard]] QString path(const QString& extension) const;

private:
    const Material& mMaterial;
    QTemporaryDir mFolder;
    QString mPlace;  ///< in it
    QString mName = QStringLiteral("Take 1");
    QString mRawFolder;
    QString mMovieFolder;
};

}  // namespace takebox::test
