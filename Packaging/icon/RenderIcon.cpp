#include <cstdio>
#include <cstdlib>
#include <span>

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

namespace
{

bool draw(QSvgRenderer& drawing, int pixels, const char* file)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter);
    painter.end();
    if (image.save(QFile::decodeName(file), "PNG")) {
        return true;
    }
    std::fprintf(stderr, "The picture %s could not be written.\n", file);
    return false;
}

} // namespace

// Draws the program's icon in the sizes that desktops want: render-icon DRAWING {PIXELS PICTURE}...
int main(int argc, char* argv[])
{
    const std::span<char*> arguments(argv, static_cast<std::size_t>(argc));
    if (arguments.size() < 4 || arguments.size() % 2 != 0) {
        std::fputs("usage: render-icon DRAWING.svg PIXELS PICTURE.png [PIXELS PICTURE.png ...]\n", stderr);
        return 2;
    }
    QSvgRenderer drawing(QFile::decodeName(arguments[1]));
    if (!drawing.isValid()) {
        std::fprintf(stderr, "%s is no drawing that can be read.\n", arguments[1]);
        return EXIT_FAILURE;
    }
    for (std::size_t index = 2; index < arguments.size(); index += 2) {
        const int pixels = std::atoi(arguments[index]); // NOLINT(cert-err34-c): 0 is refused
        if (pixels <= 0) {
            std::fprintf(stderr, "%s is no size of a picture.\n", arguments[index]);
            return 2;
        }
        if (!draw(drawing, pixels, arguments[index + 1])) {
            return EXIT_FAILURE;
        }
    }
    return EXIT_SUCCESS;
}
