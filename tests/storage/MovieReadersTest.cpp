// What other programs make of the movies: they judge, our own readers do not.

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QProcess>

#include "MovieReaders.h"
#include "RecordedMovies.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

TEST(Dump, dump) {
    for (bool isPAL : {false, true}) {
        const Material& m = generatedMaterial(isPAL);
        RecordedMovies r(m);
        r.writeRawFiles(m.frames());
        r.makeReferenceMovie(m.seconds());
        r.makeSelfContainedMovie();
        QProcess::execute(u"sh"_s,
                          {u"-c"_s, u"mkdir -p /tmp/dump%1; cp '%2'/* /tmp/dump%1"_s.arg(isPAL).arg(
                                        QFileInfo(r.path(u"dv"_s)).path())});
    }
}

}  // namespace
}  // namespace takebox::test
