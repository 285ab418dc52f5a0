// Draws a scalable icon in the sizes that desktops look for: render_icons ICON.svg NAME FOLDER
// makes FOLDER/<size>x<size>/apps/NAME.png.

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <array>
#include <cstdio>

namespace {

constexpr std::array kSizes{16, 22, 24, 32, 48, 64, 128, 256, 512};  // pixels

bool render(QSvgRenderer& icon, int size, const QString& name, const QDir& folder) {
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    icon.render(&painter);
    painter.end();
    const QString place = QStringLiteral("%1x%1/apps").arg(size);
    return folder.mkpath(place) &&
           image.save(folder.filePath(place + QLatin1Char('/') + name + QStringLiteral(".png")));
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4) {
        fputs("usage: render_icons ICON.svg NAME FOLDER\n", stderr);
        return 2;
    }
    QSvgRenderer icon(arguments[1]);
    for (const int size : kSizes) {
        if (!icon.isValid() || !render(icon, size, arguments[2], QDir(arguments[3]))) {
            fprintf(stderr, "render_icons: cannot draw %s at %d pixels\n",
                    qUtf8Printable(arguments[1]), size);
            return 1;
        }
    }
    return 0;
}
