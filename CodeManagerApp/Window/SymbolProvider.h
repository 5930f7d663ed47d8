#pragma once

#include <QQuickImageProvider>

namespace CodeManagerApp
{

// Draws the symbols: "image://symbol/NAME/RRGGBB", as large as the image asks for.
class SymbolProvider : public QQuickImageProvider
{
public:
    SymbolProvider();
    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

} // namespace CodeManagerApp
