#include "controls/SymbolIcons.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using SymbolIcons::Symbol;

TEST(SymbolIcons, EachSymbolIsDrawnInTheTintOnItsSixteenUnitGrid)
{
    struct Case {
        Symbol symbol;
        std::vector<QPointF> inked, clear; // in grid units
    };
    const std::vector<QPointF> ring{{8, 1.25}, {14.75, 8}};
    const Case cases[] = {
        {Symbol::Rename, {{8, 8}, {6.5, 2}, {6.5, 14}}, {{4, 8}}},    // an I-beam
        {Symbol::Trash, {{3, 4}, {4.5, 9}, {7.1, 9}, {8.9, 9}}, {{3, 10}}}, // a lid wider than the bin
        {Symbol::PlusCircle, {{8, 6}, {6, 8}}, {{1, 1}}},
        {Symbol::MinusCircle, {{6, 8}}, {{8, 6}, {1, 1}}},
        {Symbol::ArrowDownLeftCircle, {{7.6, 8.4}, {5.5, 8}, {8, 10.5}}, {{10.4, 10.4}, {1, 1}}}, // head at the lower left
    };
    for (const Case& c : cases) {
        // Drawn at 32 pixels, one unit is two pixels; at a device pixel ratio of 2, 16 points are 32 pixels too.
        for (const QPixmap& pixmap : {SymbolIcons::drawnSymbol(c.symbol, 32.0, Qt::red), SymbolIcons::drawnSymbol(c.symbol, 16.0, Qt::red, 2.0)}) {
            const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
            ASSERT_EQ(image.size(), QSize(32, 32));
            std::vector<QPointF> inked = c.inked;
            if (c.symbol != Symbol::Rename && c.symbol != Symbol::Trash)
                inked.insert(inked.end(), ring.begin(), ring.end());
            for (const QPointF& p : inked) {
                const QRgb pixel = image.pixel(int(p.x() * 2), int(p.y() * 2));
                EXPECT_TRUE(qAlpha(pixel) > 128 && qRed(pixel) > 200 && qGreen(pixel) < 60) << int(c.symbol) << " at " << p.x() << "," << p.y();
            }
            for (const QPointF& p : c.clear)
                EXPECT_LT(qAlpha(image.pixel(int(p.x() * 2), int(p.y() * 2))), 128) << int(c.symbol) << " at " << p.x() << "," << p.y();
        }
    }
}

TEST(SymbolIcons, TheThemeIconWinsWhereTheThemeHasOne)
{
    QTemporaryDir dir;
    const QString theme = dir.path() + QStringLiteral("/lento-test-theme");
    QDir().mkpath(theme + QStringLiteral("/16x16"));
    QFile index(theme + QStringLiteral("/index.theme"));
    ASSERT_TRUE(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=lento-test-theme\nDirectories=16x16\n\n[16x16]\nSize=16\nType=Fixed\n");
    index.close();
    QImage square(16, 16, QImage::Format_ARGB32);
    square.fill(Qt::blue);
    const QStringList names{"edit-rename", "user-trash", "list-add", "document-import"}; // no list-remove
    for (const QString& name : names)
        ASSERT_TRUE(square.save(theme + "/16x16/" + name + ".png"));

    const QStringList oldPaths = QIcon::themeSearchPaths();
    const QString oldTheme = QIcon::themeName();
    QIcon::setThemeSearchPaths({dir.path()});
    QIcon::setThemeName(QStringLiteral("lento-test-theme"));
    QStringList themed;
    for (Symbol symbol : {Symbol::Rename, Symbol::Trash, Symbol::PlusCircle, Symbol::ArrowDownLeftCircle})
        themed << SymbolIcons::symbolIcon(symbol, 16.0).name();
    EXPECT_EQ(themed, names);
    const QIcon fallback = SymbolIcons::symbolIcon(Symbol::MinusCircle, 16.0);
    EXPECT_TRUE(fallback.name().isEmpty());
    EXPECT_FALSE(fallback.pixmap(16, 16).isNull());

    QIcon::setThemeSearchPaths(oldPaths);
    QIcon::setThemeName(oldTheme);
}

} // namespace
