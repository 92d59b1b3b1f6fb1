#include "controls/WDTextButton.h"

#include "PixelProbe.h"

#include <QApplication>
#include <QEnterEvent>

namespace {

TEST(WDTextButton, TheTitleTakesTheActiveColourWhileHovered)
{
    const QColor active(230, 0, 0), gray(128, 128, 128);
    WDTextButton button(QStringLiteral("New Playlist"));
    QFont font = button.font();
    font.setPixelSize(20);
    font.setBold(true);
    button.setFont(font);
    button.setActiveTitleColor(active);
    button.resize(button.sizeHint());
    auto shows = [&button](const QColor& colour, int tolerance) {
        return !PixelProbe::bounds(PixelProbe::render(button), colour, tolerance).isNull();
    };

    button.setTitleActive(true); // the resting colour
    EXPECT_TRUE(shows(active, 30));
    button.setTitleActive(false);
    EXPECT_FALSE(shows(active, 30));
    EXPECT_TRUE(shows(gray, 12));

    QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
    QApplication::sendEvent(&button, &enter);
    EXPECT_TRUE(shows(active, 30));
    EXPECT_FALSE(shows(gray, 12));
}

} // namespace
