// SPDX-License-Identifier: MIT
#include <QImage>
#include <QImageReader>

#include <cstdio>
#include <cstdlib>

/// drawicon SVG EDGE PNG: the drawing as a square picture with this edge.
int main(int argc, char* argv[]) {
    const int edge = argc == 4 ? std::atoi(argv[2]) : 0;
    if (edge < 1) {
        std::fputs("drawicon SVG EDGE PNG\n", stderr);
        return EXIT_FAILURE;
    }
    QImageReader reader(QString::fromLocal8Bit(argv[1]));
    reader.setScaledSize({edge, edge});
    const QImage picture = reader.read();
    if (picture.isNull()) {
        std::fprintf(stderr, "%s: %s\n", argv[1], qPrintable(reader.errorString()));
        return EXIT_FAILURE;
    }
    if (!picture.save(QString::fromLocal8Bit(argv[3]), "PNG")) {
        std::fprintf(stderr, "%s could not be written.\n", argv[3]);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
