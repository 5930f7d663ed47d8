#include "CodeManagerApp/Window/SymbolProvider.h"

#include <algorithm>

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

#include "CodeManagerApp/Desktop/Desktop.h"
#include "CodeManagerApp/Model/QtText.h"

namespace CodeManagerApp
{

namespace
{

constexpr int usualPixels = 24;
constexpr int leastSmoothPixels = 15; // below, a stroke is thinner than a pixel, and Qt draws such strokes jagged

QImage ofTheSystem(const QString& name, int pixels, const QString& colour)
{
    const auto picture = Desktop::systemSymbol(toUtf8(name), pixels, colour.toUInt(nullptr, 16));
    if (!picture) {
        return {};
    }
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < pixels; y++) {
        std::ranges::copy_n(picture->argb.data() + static_cast<std::ptrdiff_t>(y) * pixels,
                            pixels,
                            reinterpret_cast<std::uint32_t*>(image.scanLine(y))); // NOLINT: as Qt lays pixels out
    }
    return image;
}

QImage drawn(const QString& name, int pixels, const QString& colour)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QFile file(QStringLiteral(":/qt/qml/CodeManager/Symbols/%1.svg").arg(name));
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("There is no symbol named \"%s\".", qUtf8Printable(name));
        return image;
    }
    QByteArray drawing = file.readAll().replace("currentColor", "#" + colour.toLatin1());
    if (pixels < leastSmoothPixels) {
        drawing.replace(R"(stroke-width="1.7")", R"(stroke-width="1.75")");
    }
    QSvgRenderer renderer(drawing);
    QPainter painter(&image);
    renderer.render(&painter);
    return image;
}

} // namespace

SymbolProvider::SymbolProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{
}

QImage SymbolProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    const QString name = id.section(QLatin1Char('/'), 0, 0);
    const QString colour = id.section(QLatin1Char('/'), 1, 1);
    const int pixels = requestedSize.width() > 0 ? requestedSize.width() : usualPixels;
    QImage image = ofTheSystem(name, pixels, colour);
    if (image.isNull()) {
        image = drawn(name, pixels, colour);
    }
    *size = image.size();
    return image;
}

} // namespace CodeManagerApp
