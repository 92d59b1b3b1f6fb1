// Chords over the wave: the segments the views draw, the cache that keeps them per file, and the
// estimator run on a worker once View ▸ Show Chords is on.
#include "app/ViewController.h"

#include "analysis/ChordMethod.h"
#include "analysis/NoteAnalysisCache.h"
#include "app/WavePane.h"
#include "loops/WaveViewContainer.h"
#include "preferences/ColorTheme.h"
#include "preferences/PreferencesController.h"
#include "preferences/UserDefaults.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QAction>
#include <QFileInfo>
#include <QLabel>
#include <QtConcurrent>

namespace {
const QString kNoteOverlayKey = QStringLiteral("NoteOverlayEnabled");
} // namespace

void ViewController::setupNoteAnalysis()
{
    m_noteAnalysisGeneration = 0;
    m_noteAnalysisCache = std::make_unique<NoteAnalysisCache>(noteAnalysisCachePath());
    m_noteAnalysisCacheLoaded = false;
    m_noteOverlayEnabled = ColorTheme::flagForKey(m_defaults, kNoteOverlayKey, false);
    connect(&m_noteAnalysis, &QFutureWatcher<QList<LTChordSegment>>::finished, this,
            [this] { noteAnalysisDidEnd(m_noteAnalysisRunGeneration, m_noteAnalysisRunKey); });
    applyNoteSegments({}, m_player->duration());
    updateNoteOverlayVisibility();
}

QString ViewController::noteAnalysisCachePath() const
{
    return NoteAnalysisCache::defaultPath();
}

ChordMethod ViewController::chordMethod() const
{
    const QString name = m_defaults.stringForKey(PreferencesController::kChordMethodKey);
    return chordMethodFromName(name).value_or(kDefaultChordMethod);
}

void ViewController::chordMethodChanged()
{
    if (m_noteOverlayEnabled && m_waveViewContainer->audioLoaded())
        scheduleNoteAnalysisForURL(m_player->fileURL());
}

void ViewController::stopNoteAnalysis()
{
    ++m_noteAnalysisGeneration; // what the run still gives is for no one
    if (m_noteAnalysisCancel)
        m_noteAnalysisCancel->store(true);
    m_noteAnalysis.waitForFinished();
}

void ViewController::applyNoteSegments(const QList<LTChordSegment>& segments, double duration)
{
    if (!(duration > 0.0))
        duration = m_player->duration();
    if (!(duration > 0.0) && !segments.isEmpty())
        duration = segments.last().endSec;
    m_noteSegments = segments;
    WaveView* wave = m_wavePane->waveScrollView()->waveView();
    wave->setNoteSegments(segments);
    wave->setAudioDuration(duration);
    wave->setShowsNoteOverlay(m_noteOverlayEnabled && m_waveViewContainer->audioLoaded());
    wave->update();
    WaveView* overview = m_wavePane->overView();
    overview->setNoteSegments(segments);
    overview->setAudioDuration(duration);
    overview->setShowsNoteOverlay(false);
    showCurrentChord();
}

void ViewController::updateNoteOverlayVisibility()
{
    WaveView* wave = m_wavePane->waveScrollView()->waveView();
    wave->setShowsNoteOverlay(m_noteOverlayEnabled && m_waveViewContainer->audioLoaded());
    wave->update();
    m_wavePane->overView()->setShowsNoteOverlay(false);
    syncNoteOverlayMenuState();
    showCurrentChord();
}

void ViewController::setNoteOverlayMenuItem(QAction* item)
{
    m_noteOverlayMenuItem = item;
    item->setCheckable(true);
    connect(item, &QAction::triggered, this, [this] { toggleNoteOverlay(m_noteOverlayMenuItem); });
    syncNoteOverlayMenuState();
}

void ViewController::syncNoteOverlayMenuState()
{
    if (m_noteOverlayMenuItem)
        m_noteOverlayMenuItem->setChecked(m_noteOverlayEnabled);
}

void ViewController::toggleNoteOverlay(QObject*)
{
    m_noteOverlayEnabled = !m_noteOverlayEnabled;
    m_defaults.setObject(m_noteOverlayEnabled, kNoteOverlayKey);
    updateNoteOverlayVisibility();
    // Switching off only hides the chips; switching on finds the chords of the track that is open.
    if (m_noteOverlayEnabled && m_waveViewContainer->audioLoaded() && m_noteSegments.isEmpty() && !m_noteAnalysisPending)
        scheduleNoteAnalysisForURL(m_player->fileURL());
}

void ViewController::scheduleNoteAnalysisForURL(const QUrl& url)
{
    const uint64_t generation = ++m_noteAnalysisGeneration;
    // The track before has no use for its chords any more, whether this one's are found, cached or
    // not wanted; the run is told to stop, and what it still gives is dropped by its generation.
    if (m_noteAnalysisCancel)
        m_noteAnalysisCancel->store(true);
    m_noteAnalysisPending = false;
    applyNoteSegments({}, m_player->duration());
    if (!m_noteOverlayEnabled)
        return;
    if (!m_noteAnalysisCacheLoaded) {
        m_noteAnalysisCache->load();
        m_noteAnalysisCacheLoaded = true;
    }
    const ChordMethod method = chordMethod();
    const QString key = NoteAnalysisCache::cacheKeyForURL(url, method);
    if (const auto cached = m_noteAnalysisCache->segmentsForKey(key)) {
        applyNoteSegments(*cached, m_player->duration());
        return;
    }
    m_noteAnalysisCancel = std::make_shared<std::atomic<bool>>(false);
    const auto cancel = m_noteAnalysisCancel;
    m_noteAnalysisRunGeneration = generation;
    m_noteAnalysisRunKey = key;
    m_noteAnalysisPending = true;
    m_chordLabel->setText(tr("Finding chords…"));
    m_chordLabel->show();
    m_noteAnalysis.setFuture(QtConcurrent::run([method, url, cancel] {
        return estimateChordSegments(method, url, {}, cancel.get());
    }));
}

void ViewController::noteAnalysisDidEnd(uint64_t generation, const QString& key)
{
    // A result for a track that is no longer the current one, or for a run called off, is dropped.
    if (generation != m_noteAnalysisGeneration)
        return;
    m_noteAnalysisPending = false;
    const QList<LTChordSegment> segments = m_noteAnalysis.result();
    applyNoteSegments(segments, m_player->duration());
    m_noteAnalysisCache->setSegmentsForKey(key, segments);
    m_noteAnalysisCache->save();
}

void ViewController::showCurrentChord()
{
    if (!m_chordLabel)
        return;
    if (m_noteAnalysisPending && m_noteOverlayEnabled)
        return; // still finding them
    QString name;
    if (m_noteOverlayEnabled && m_waveViewContainer->audioLoaded()) {
        const double now = m_player->currentTime();
        for (const LTChordSegment& segment : m_noteSegments)
            if (segment.startSec <= now && now < segment.endSec) {
                name = segment.noteName;
                break;
            }
    }
    if (m_chordLabel->text() != name)
        m_chordLabel->setText(name);
    m_chordLabel->setVisible(!name.isEmpty());
}
