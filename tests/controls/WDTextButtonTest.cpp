#include "controls/WDTextButton.h"

#include "PixelProbe.h"

#include <QApplication>
#include <QEnterEvent>

#include <gtest/gtest.h>

namespace {

TEST(WDTextButton, TheTitleTakesTheActiveColourWhileHoveredOrHeldDown)
{
    const QColor active(230, 0, 0), gray(128, 128, 128);
    WDTextButton button(QStringLiteral("New Playlist"));
    QFont font = button.font();
    font.setPixelSize(20);
    font.setBold(true);
    button.setFont(font);
    button.setActiveTitleColor(active);
    button.resize(button.sizeHint());
    auto pixels = [&button](const QColor& colour, int tolerance) {
        const QImage image = PixelProbe::render(button);
        return PixelProbe::count(image, colour, image.rect(), tolerance);
    };
    auto send = [&button](QEvent&& event) { QApplication::sendEvent(&button, &event); };

    button.setTitleActive(true); // the resting colour
    EXPECT_GT(pixels(active, 30), 20);
    button.setTitleActive(false);
    EXPECT_EQ(pixels(active, 30), 0);
    EXPECT_GT(pixels(gray, 12), 20);

    send(QEnterEvent(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5)));
    EXPECT_TRUE(button.isHighlighted());
    EXPECT_GT(pixels(active, 30), 20);
    EXPECT_EQ(pixels(gray, 12), 0);
    send(QEvent(QEvent::Leave));
    EXPECT_FALSE(button.isHighlighted());
    EXPECT_EQ(pixels(active, 30), 0);
    button.setDown(true);
    EXPECT_GT(pixels(active, 30), 20);

    EXPECT_EQ(WDTextButton().activeTitleColor(), QColor::fromRgbF(1.f / 3, 1.f / 3, 1.f / 3)) << "dark grey by default";
}

} // namespace
