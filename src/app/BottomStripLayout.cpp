#include "app/BottomStripLayout.h"

#include <algorithm>

namespace {
QRectF centredAt(double cx, double cy, const QSizeF& size)
{
    return {cx - size.width() / 2.0, cy - size.height() / 2.0, size.width(), size.height()};
}
} // namespace

BottomStripLayout::Frames BottomStripLayout::place(const QRectF& root, const Sizes& sizes)
{
    Frames f;
    // The split view runs edge to edge and stops where the strip begins.
    const double splitBottom = root.bottom() - kStripHeight;
    f.verticalSplitView = QRectF(QPointF(root.left(), root.top() - kSplitTopOverlap),
                                 QPointF(root.right(), splitBottom));

    // The play button hangs from the split view; return, time and both sliders share its centre line.
    const double playTop = splitBottom + kPlayTop;
    const double line = playTop + sizes.playButton.height() / 2.0;
    const double centreX = root.center().x();

    f.timeLabel = centredAt(centreX, line, sizes.timeLabel);
    f.playButton = QRectF(QPointF(f.timeLabel.right() + kTimeGap, playTop), sizes.playButton);
    f.returnButton = centredAt(f.timeLabel.left() - kTimeGap - sizes.returnButton.width() / 2.0, line,
                               sizes.returnButton);

    const QSizeF side(kSideButtonSize, kSideButtonSize);
    f.leftSidebarButton = centredAt(root.left() + kEdgeMargin + kSideButtonSize / 2.0,
                                    line + kSideButtonDrop, side);
    f.sidebarButton = centredAt(root.right() - kEdgeMargin - kSideButtonSize / 2.0,
                                line + kSideButtonDrop, side);

    const double zoomLeft = f.leftSidebarButton.right() + kSliderGap;
    const double zoomRight = f.returnButton.left() - kTransportGap;
    f.zoomSlider = QRectF(zoomLeft, line - sizes.sliderHeight / 2.0, std::max(0.0, zoomRight - zoomLeft),
                          sizes.sliderHeight);
    const double speedLeft = f.playButton.right() + kTransportGap;
    const double speedRight = f.sidebarButton.left() - kSliderGap;
    f.speedSlider = QRectF(speedLeft, line - sizes.sliderHeight / 2.0, std::max(0.0, speedRight - speedLeft),
                           sizes.sliderHeight);

    f.durationLabel = QRectF(QPointF(centreX - sizes.durationLabel.width() / 2.0, splitBottom + kDurationTop),
                             sizes.durationLabel);
    f.statusLabel = QRectF(QPointF(centreX - sizes.statusLabel.width() / 2.0, f.durationLabel.bottom() + kStatusGap),
                           sizes.statusLabel);
    f.chordLabel = QRectF(QPointF(centreX - sizes.chordLabel.width() / 2.0, splitBottom + kChordTop), sizes.chordLabel);
    f.speedLabel = QRectF(QPointF(f.speedSlider.center().x() + kSpeedLabelShift - sizes.speedLabel.width() / 2.0,
                                  f.speedSlider.bottom() + kSliderLabelGap),
                          sizes.speedLabel);
    f.zoomLabel = QRectF(QPointF(f.zoomSlider.center().x() - sizes.zoomLabel.width() / 2.0,
                                 f.zoomSlider.bottom() + kSliderLabelGap),
                         sizes.zoomLabel);
    return f;
}
