#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

// The small line icons of the side panel's image buttons. The desktop's icon theme supplies
// them where it has a fitting name; otherwise they are drawn here, in one tint, so that the
// buttons look the same on any desktop.
namespace SymbolIcons {

enum class Symbol {
    Rename,              // an I-beam text cursor
    Trash,               // a waste bin
    PlusCircle,          // a plus in a ring
    MinusCircle,         // a minus in a ring
    ArrowDownLeftCircle, // an arrow to the lower left in a ring
};

// The freedesktop icon-naming name tried first.
QString themeName(Symbol symbol);

// A muted text colour, for icons that sit beside labels without competing with them.
QColor secondaryLabelColor();

// The symbol drawn in a square of pointSize device-independent pixels.
QPixmap drawnSymbol(Symbol symbol, double pointSize, const QColor& tint,
                    qreal devicePixelRatio = 1.0);

// The theme's icon when it has one, else the drawn symbol.
QIcon symbolIcon(Symbol symbol, double pointSize, const QColor& tint = secondaryLabelColor());

} // namespace SymbolIcons
