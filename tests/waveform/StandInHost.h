#pragma once

#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"
#include "waveform/WaveViewHost.h"

#include "common/Testing.h"

#include <QList>

// The coordinator the wave views talk to, recording what they ask of it.
struct StandInHost : WaveViewHost {
    bool loaded = true;
    double cursor = 0.0;
    QList<QUrl> opened;
    LoopPair selection{-1.0, -1.0};
    int changes = 0;
    WaveScrollView* scroll = nullptr;
    bool audioLoaded() const override { return loaded; }
    void setViewPosition(float p) override { if (scroll) scroll->scrollPoint(scroll->waveView()->waveWidth() * p); }
    void setLoop(bool) override {}
    void selectionChanged() override { ++changes; }
    void setZoom(double) override {}
    bool loadAudioFromURL(const QUrl& url) override { return opened << url, true; }
    void setSelection(const LoopPair& loop) override { selection = loop; }
    void updateCursorWithProgress(double progress) override { cursor = progress; }
    double cursorPosition() const override { return cursor; }
};

