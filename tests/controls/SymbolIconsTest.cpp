#include "controls/SymbolIcons.h"

#include "common/Testing.h"
#include <QImage>

namespace {

using SymbolIcons::Symbol;

TEST(SymbolIcons, TheThemeIconWinsWhereTheThemeHasOneAndADrawnOneStandsInElsewhere)
{
    QTemporaryDir dir;
    const QString theme = dir.path() + QStringLiteral("/lento-test-theme");
    QDir().mkpath(theme + QStringLiteral("/16x16"));
    ASSERT_TRUE(fixtures::writeFile(theme + "/index.theme", "[Icon Theme]\nName=lento-test-theme\nDirectories=16x16\n\n[16x16]\nSize=16\nType=Fixed\n"));
    QImage square(16, 16, QImage::Format_ARGB32);
    square.fill(Qt::blue);
    const QStringList names{"edit-rename", "user-trash", "list-add", "document-import"}; // no list-remove
    for (const QString& name : names)
        ASSERT_TRUE(square.save(theme + "/16x16/" + name + ".png"));

    QIcon::setThemeSearchPaths({dir.path()}); // no other test of the suite asks for a theme icon
    QIcon::setThemeName(QStringLiteral("lento-test-theme"));
    QStringList themed;
    for (Symbol symbol : {Symbol::Rename, Symbol::Trash, Symbol::PlusCircle, Symbol::ArrowDownLeftCircle})
        themed << SymbolIcons::symbolIcon(symbol, 16.0).name();
    EXPECT_EQ(themed, names);
    const QIcon fallback = SymbolIcons::symbolIcon(Symbol::MinusCircle, 16.0);
    EXPECT_TRUE(fallback.name().isEmpty() && !fallback.pixmap(16, 16).isNull());
    // Drawn, the minus is a bar across the middle of its ring; the plus adds the upright.
    for (auto [symbol, upright] : {std::pair{Symbol::MinusCircle, false}, {Symbol::PlusCircle, true}}) {
        const QImage drawn = SymbolIcons::drawnSymbol(symbol, 16.0, Qt::red).toImage();
        EXPECT_GT(qAlpha(drawn.pixel(6, 8)), 100);
        EXPECT_EQ(qAlpha(drawn.pixel(8, 6)) > 100, upright);
    }
}

} // namespace
