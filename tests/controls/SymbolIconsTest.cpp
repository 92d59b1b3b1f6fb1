#include "controls/SymbolIcons.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using SymbolIcons::Symbol;

// Drawn at 32 pixels, so one unit of the 16-unit layout is two pixels.
struct Drawn {
    QImage image;
    explicit Drawn(Symbol symbol)
        : image(SymbolIcons::drawnSymbol(symbol, 32.0, Qt::red).toImage().convertToFormat(
              QImage::Format_ARGB32))
    {
    }
    bool inked(double unitX, double unitY) const
    {
        return qAlpha(image.pixel(int(unitX * 2.0), int(unitY * 2.0))) > 128;
    }
};

TEST(SymbolIcons, RingsSurroundPlusMinusAndArrow)
{
    for (Symbol symbol : {Symbol::PlusCircle, Symbol::MinusCircle, Symbol::ArrowDownLeftCircle}) {
        const Drawn drawn(symbol);
        EXPECT_EQ(drawn.image.size(), QSize(32, 32));
        EXPECT_TRUE(drawn.inked(8.0, 1.25)) << int(symbol);  // top of the ring
        EXPECT_TRUE(drawn.inked(14.75, 8.0)) << int(symbol); // right of the ring
        EXPECT_FALSE(drawn.inked(1.0, 1.0)) << int(symbol);  // outside it
    }
}

TEST(SymbolIcons, PlusHasAnUprightStrokeAndMinusDoesNot)
{
    const Drawn plus(Symbol::PlusCircle);
    const Drawn minus(Symbol::MinusCircle);
    EXPECT_TRUE(plus.inked(8.0, 8.0));
    EXPECT_TRUE(minus.inked(8.0, 8.0));
    EXPECT_TRUE(plus.inked(8.0, 6.0));
    EXPECT_FALSE(minus.inked(8.0, 6.0));
}

TEST(SymbolIcons, ArrowPointsToTheLowerLeft)
{
    const Drawn arrow(Symbol::ArrowDownLeftCircle);
    EXPECT_TRUE(arrow.inked(5.6, 10.4));  // the head's corner
    EXPECT_FALSE(arrow.inked(10.4, 10.4)); // nothing at the lower right
    EXPECT_TRUE(arrow.inked(7.6, 8.2));   // the shaft crosses the centre
}

TEST(SymbolIcons, RenameAndTrashAreDrawnInTheTint)
{
    const Drawn rename(Symbol::Rename);
    EXPECT_TRUE(rename.inked(8.0, 8.0));
    EXPECT_FALSE(rename.inked(4.0, 8.0));
    const Drawn trash(Symbol::Trash);
    EXPECT_TRUE(trash.inked(3.0, 4.0)); // the lid runs wider than the bin
    EXPECT_FALSE(trash.inked(3.0, 10.0));
    const QRgb ink = trash.image.pixel(6, 8);
    EXPECT_EQ(qRed(ink), 255);
    EXPECT_EQ(qGreen(ink), 0);
}

TEST(SymbolIcons, ThemeIconWinsWhereTheThemeHasOne)
{
    QTemporaryDir dir;
    const QString theme = dir.path() + QStringLiteral("/lento-test-theme");
    QDir().mkpath(theme + QStringLiteral("/16x16"));
    QFile index(theme + QStringLiteral("/index.theme"));
    ASSERT_TRUE(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=lento-test-theme\nDirectories=16x16\n\n"
                "[16x16]\nSize=16\nType=Fixed\n");
    index.close();
    QImage square(16, 16, QImage::Format_ARGB32);
    square.fill(Qt::blue);
    ASSERT_TRUE(square.save(theme + QStringLiteral("/16x16/list-add.png")));

    const QStringList oldPaths = QIcon::themeSearchPaths();
    const QString oldTheme = QIcon::themeName();
    QIcon::setThemeSearchPaths({dir.path()});
    QIcon::setThemeName(QStringLiteral("lento-test-theme"));

    EXPECT_EQ(SymbolIcons::symbolIcon(Symbol::PlusCircle, 16.0).name(), QStringLiteral("list-add"));
    const QIcon fallback = SymbolIcons::symbolIcon(Symbol::MinusCircle, 16.0);
    EXPECT_TRUE(fallback.name().isEmpty());
    EXPECT_FALSE(fallback.pixmap(16, 16).isNull());

    QIcon::setThemeSearchPaths(oldPaths);
    QIcon::setThemeName(oldTheme);
}

} // namespace
