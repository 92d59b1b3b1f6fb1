#pragma once

#include <QRectF>
#include <QSizeF>

// The geometry of the main view: the split view above a 110-point strip of bottom controls.
// One routine computes every frame from the root's rectangle and the controls' own sizes, so the
// whole strip can be checked without a window.
//
// Left to right the strip reads: left panel button, zoom slider, return button, time (centred
// in the window, the current chord above it, the duration and a status line under it), play button, speed slider, drawer
// button. The sliders
// take up the width that is left; the strip's controls are tied to the root, not to a pane.
struct BottomStripLayout {
    static constexpr double kStripHeight = 110.0;
    static constexpr double kSplitTopOverlap = 4.0;
    static constexpr double kEdgeMargin = 20.0;
    static constexpr double kSideButtonSize = 32.0;
    static constexpr double kSideButtonDrop = 4.0;
    static constexpr double kSliderGap = 20.0;
    static constexpr double kTransportGap = 22.0;
    static constexpr double kTimeGap = 6.0;
    static constexpr double kPlayTop = 26.0;
    static constexpr double kDurationTop = 60.0;
    static constexpr double kStatusGap = 2.0;
    static constexpr double kChordTop = 6.0;
    static constexpr double kSliderLabelGap = 13.0;
    static constexpr double kSpeedLabelShift = 2.0;

    // The controls' own sizes (their intrinsic sizes); widths of the sliders are ignored.
    struct Sizes {
        QSizeF playButton{32, 32};
        QSizeF returnButton{32, 32};
        double sliderHeight = 25.0;
        QSizeF timeLabel;
        QSizeF durationLabel;
        QSizeF statusLabel;
        QSizeF chordLabel;
        QSizeF speedLabel;
        QSizeF zoomLabel;
    };

    struct Frames {
        QRectF verticalSplitView;
        QRectF leftSidebarButton;
        QRectF sidebarButton;
        QRectF zoomSlider;
        QRectF returnButton;
        QRectF timeLabel;
        QRectF playButton;
        QRectF speedSlider;
        QRectF durationLabel;
        QRectF statusLabel;
        QRectF chordLabel;
        QRectF speedLabel;
        QRectF zoomLabel;
    };

    static Frames place(const QRectF& root, const Sizes& sizes);
};
