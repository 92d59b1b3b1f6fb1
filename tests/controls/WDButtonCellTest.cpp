#include "controls/WDButtonCell.h"

#include "PixelProbe.h"

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
    for (const Case& c : cases) {
        WDButtonCell button;
        button.setBackColor(kBack);
        button.setKeyColor(kKey);
        button.setStyle(c.style);
        button.resize(100, 100);
        const QImage image = PixelProbe::render(button);
        EXPECT_TRUE(PixelProbe::nearRect(PixelProbe::bounds(image, kKey), c.bounds)) << c.style;
        for (const QPoint& p : c.key)
            EXPECT_TRUE(PixelProbe::near(image, p.x(), p.y(), kKey, 2)) << c.style << " at " << p.x() << "," << p.y();
        for (const QPoint& p : c.back)
            EXPECT_TRUE(PixelProbe::near(image, p.x(), p.y(), kBack, 2)) << c.style << " at " << p.x() << "," << p.y();
        EXPECT_TRUE(PixelProbe::near(image, 3, 3, Qt::white, 2)) << c.style;
    }
    auto* deleted = new WDButtonCell;
    deleted->setStyle(WDButtonCell::Pause);
    delete deleted;
    QCoreApplication::processEvents(); // the queued repaint finds no button and does nothing
}

} // namespace
