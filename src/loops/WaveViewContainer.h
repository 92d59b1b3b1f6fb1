#pragma once

#include "loops/LoopDataStore.h"
#include "loops/LoopMarker.h"
#include "loops/SelectionView.h"
#include "waveform/CursorView.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"
#include "waveform/WaveViewHost.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

class MainController;
class WaveViewContainerDelegate;

// Ties the wave views to the engine: turns a finished selection into a play range, runs the
// playhead timer, forwards loop commands to the saved loops and keeps those on disk.
class WaveViewContainer : public QObject, public WaveViewHost {
    Q_OBJECT
public:
    static constexpr int kCursorIntervalMs = 50;

    explicit WaveViewContainer(QObject* parent = nullptr);
    ~WaveViewContainer() override;

    // The views, connected before setupContainer.
    void setViewController(MainController* controller) { m_viewController = controller; }
    MainController* controller() const { return m_viewController; }
    void setWaveScrollView(WaveScrollView* view) { m_waveScrollView = view; }
    WaveScrollView* waveScrollView() const { return m_waveScrollView; }
    void setOverView(WaveView* view) { m_overView = view; }
    WaveView* overView() const { return m_overView; }
    WaveView* waveView() const;
    SelectionView* selectionView() const { return m_selectionView; }
    CursorView* cursorView() const { return m_cursorView; }
    void setDelegate(WaveViewContainerDelegate* delegate) { m_delegate = delegate; }
    void setLoopStore(std::unique_ptr<LoopDataStore> store);
    LoopDataStore* loopStore() const { return m_loopStore.get(); }

    void setupContainer();
    void setColorTheme();
    void resetView();
    void waveFormWithSize(float width);
    void overViewWithSize(float width);

    // --- Playhead ---
    void startCursor();
    void stopCursor();
    void updateCursor();
    bool isCursorRunning() const { return m_cursorUpdateTimer.isActive(); }
    void setPlayPosition(float position);

    // --- WaveViewHost ---
    bool audioLoaded() const override { return m_audioLoaded; }
    void setAudioLoaded(bool loaded);
    void setViewPosition(float position) override;
    void setLoop(bool loop) override;
    void selectionChanged() override;
    void setZoom(double factor) override;
    bool loadAudioFromURL(const QUrl& url) override;
    void setSelection(const LoopPair& loop) override;
    void updateCursorWithProgress(double progress) override;
    double cursorPosition() const override;

    // --- Loops ---
    bool loop() const;
    void addLoop(QObject* sender = nullptr);
    void removeLoop(QObject* sender = nullptr);
    void removeAllLoops(QObject* sender = nullptr);
    void nextLoop(QObject* sender = nullptr);
    void lastLoop(QObject* sender = nullptr);
    // Moves the selection's start (or end) by `seconds` without stopping: a loop that plays
    // takes the new range at its next seam. A saved loop selected is moved with it.
    void nudgeSelection(bool end, double seconds);
    void addRemoveLoop(const LoopPair& loop);
    bool storeLoopData();
    bool readLoopData(const QString& key);
    // Selects `loop` and plays it as a loop; nothing for an empty one.
    void selectRange(const LoopPair& loop);

signals:
    // The saved loops changed: the menu's items follow.
    void loopsChanged();

private:
    void redrawLoops();

    QTimer m_cursorUpdateTimer;
    bool m_audioLoaded = false;
    MainController* m_viewController = nullptr;
    QPointer<WaveScrollView> m_waveScrollView;
    QPointer<WaveView> m_overView;
    QPointer<CursorView> m_cursorView;
    QPointer<SelectionView> m_selectionView;
    WaveViewContainerDelegate* m_delegate = nullptr;
    std::unique_ptr<LoopDataStore> m_loopStore;
    QString m_loopKey;
};
