#pragma once

class AudioEngine;
class QObject;
class QUrl;
struct ColorTheme;

// The main window's controller as the wave views and their coordinator see it.
class MainController {
public:
    virtual ~MainController() = default;

    virtual AudioEngine* player() const = 0;
    virtual const ColorTheme& colors() const = 0;
    // Opens the file without holding up the window; false when there is nothing to open there.
    virtual bool openDroppedURL(const QUrl& url) = 0;
    // Playback of the selection as a loop, as far as the "LoopSelection" preference allows.
    virtual void setLoop(bool loop) = 0;
    virtual void setZoom(double factor) = 0;
    virtual void updateTime() = 0;
    // The width the points are made for when a track opens.
    virtual float viewWidth() const = 0;

    // The two-stroke loop capture.
    virtual void captureLoopSelectionWithPlayhead(QObject* sender) = 0;
    virtual bool isLoopCapturePending() const = 0;
    virtual float loopCaptureStartPosition() const = 0;
};

// Told at the very end of every selection change, once the engine has been set up for it.
class WaveViewContainerDelegate {
public:
    virtual ~WaveViewContainerDelegate() = default;
    virtual void selectionChangedAction() = 0;
};
