#include "controls/WDButtonCell.h"
#include "controls/WDTextButton.h"

#include "PixelProbe.h"

#include <QApplication>
#include <QEnterEvent>

namespace {

const QColor kBack(200, 200, 200);
const QColor kKey(255, 0, 0);

TEST(WDButtonCell, EachStyleDrawsItsSymbolOnTheDiscAndAStyleChangeSurvivesTheButtonsDeletion)
{
    // On a 100 x 100 button, with a stroke of 2 around each shape.
    struct Case { int style; QRect bounds; std::vector<QPoint> key, back; };
    const Case cases[] = {
        {WDButtonCell::None, {}, {}, {{50, 50}}},
        {WDButtonCell::Play, {QPoint(37, 32), QPoint(71, 66)}, {{66, 50}}, {{66, 36}}}, // a triangle pointing right
        {WDButtonCell::Stop, {QPoint(33, 29), QPoint(66, 63)}, {{50, 45}}, {{50, 66}}}, // a square above centre
        {WDButtonCell::Pause, {QPoint(34, 32), QPoint(64, 66)}, {{39, 50}, {59, 50}}, {{49, 50}}}, // two bars
        {WDButtonCell::Return, {QPoint(32, 34), QPoint(65, 65)}, {{36, 50}, {62, 40}}, {{43, 50}, {50, 38}}}, // a bar and a triangle pointing left
    };
    WDButtonCell button;
    button.setBackColor(kBack);
    button.setKeyColor(kKey);
    button.resize(100, 100);
    for (const Case& c : cases) {
        button.setStyle(c.style);
        const QImage image = PixelProbe::render(button);
        EXPECT_TRUE(PixelProbe::nearRect(PixelProbe::bounds(image, kKey), c.bounds)) << c.style;
        for (const auto& [points, colour] : {std::pair{c.key, kKey}, {c.back, kBack}})
            for (const QPoint& p : points)
                EXPECT_TRUE(PixelProbe::near(image, p.x(), p.y(), colour, 2)) << c.style << " at " << p.x() << "," << p.y();
        EXPECT_TRUE(PixelProbe::near(image, 3, 3, Qt::white, 2)) << c.style;
    }
    auto* deleted = new WDButtonCell;
    deleted->setStyle(WDButtonCell::Pause);
    delete deleted;
    QCoreApplication::processEvents(); // the queued repaint finds no button and does nothing
}

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
    EXPECT_TRUE(!shows(active, 30) && shows(gray, 12));
    QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
    QApplication::sendEvent(&button, &enter);
    EXPECT_TRUE(shows(active, 30) && !shows(gray, 12));
}

} // namespace
