#include "controls/WDTextButton.h"

#include "PixelProbe.h"

#include <QApplication>
#include <QEnterEvent>

#include <gtest/gtest.h>

namespace {

const QColor kActive(230, 0, 0);
const QColor kGray(128, 128, 128);

struct TextButtonFixture : ::testing::Test {
    WDTextButton button{QStringLiteral("New Playlist")};

    TextButtonFixture()
    {
        QFont font = button.font();
        font.setPixelSize(20);
        font.setBold(true);
        button.setFont(font);
        button.setActiveTitleColor(kActive);
        button.resize(button.sizeHint());
    }

    void enter()
    {
        QEnterEvent event(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
        QApplication::sendEvent(&button, &event);
    }
    void leave()
    {
        QEvent event(QEvent::Leave);
        QApplication::sendEvent(&button, &event);
    }
    int activePixels() { return PixelProbe::count(PixelProbe::render(button), kActive, 30); }
    int grayPixels() { return PixelProbe::count(PixelProbe::render(button), kGray, 12); }
};

TEST_F(TextButtonFixture, TitleTakesTheActiveColourWhileHovered)
{
    button.setTitleActive(false);
    EXPECT_EQ(activePixels(), 0);
    EXPECT_GT(grayPixels(), 20);

    enter();
    EXPECT_TRUE(button.isHighlighted());
    EXPECT_GT(activePixels(), 20);
    EXPECT_EQ(grayPixels(), 0);

    leave();
    EXPECT_FALSE(button.isHighlighted());
    EXPECT_EQ(activePixels(), 0);
    EXPECT_GT(grayPixels(), 20);
}

TEST_F(TextButtonFixture, TitleActiveSetsTheRestingColour)
{
    EXPECT_EQ(WDTextButton().activeTitleColor(), QColor::fromRgbF(1.f / 3, 1.f / 3, 1.f / 3));
    button.setTitleActive(true);
    EXPECT_EQ(button.titleColor(), kActive);
    EXPECT_GT(activePixels(), 20);
    button.setTitleActive(false);
    EXPECT_EQ(button.titleColor(), QColor::fromRgbF(0.5f, 0.5f, 0.5f));
}

} // namespace
