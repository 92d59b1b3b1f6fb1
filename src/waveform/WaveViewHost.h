#pragma once

#include "loops/LoopMarker.h"

class QUrl;

// What the wave views report to: the coordinator that joins them, the live selection and the
// engine. The views know nothing else of the window.
class WaveViewHost {
public:
    virtual ~WaveViewHost() = default;

    virtual bool audioLoaded() const = 0;
    // Scrolls the main wave so that the track position stands at its left edge.
    virtual void setViewPosition(float position) = 0;
    // Playback of the selection as a loop, on or off.
    virtual void setLoop(bool loop) = 0;
    // The one road from a finished selection to the engine.
    virtual void selectionChanged() = 0;
    virtual void setZoom(double factor) = 0;
    // A file dropped on a view; true when it is being opened.
    virtual bool loadAudioFromURL(const QUrl& url) = 0;

    // The live selection and the playhead of the main wave.
    virtual void setSelection(const LoopPair& loop) = 0;
    virtual void updateCursorWithProgress(double progress) = 0;
    virtual double cursorPosition() const = 0;
};
