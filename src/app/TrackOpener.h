#pragma once

#include "audio/AudioSource.h"

#include <QFutureWatcher>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <atomic>
#include <memory>

// Reads a file on a worker, so the window keeps painting and taking input while a long track is
// decoded. One read at a time: a new one cancels the one before, whose result is then dropped.
// Progress and the end come back on the main thread.
class TrackOpener : public QObject {
    Q_OBJECT
public:
    // A read that ends sooner shows no progress at all.
    static constexpr int kProgressDelayMs = 300;

    explicit TrackOpener(QObject* parent = nullptr);
    ~TrackOpener() override;

    void open(const QUrl& url);
    void cancel();
    bool isRunning() const { return bool(m_job); }
    QUrl url() const { return m_job ? m_job->url : QUrl(); }

signals:
    // The read has taken longer than kProgressDelayMs.
    void progressShouldShow(const QUrl& url);
    void progressChanged(double fraction);
    // The read ended on its own: a ready source, or one that says why not. Not sent for a read
    // that was cancelled or replaced.
    void finished(const QUrl& url, std::shared_ptr<AudioSource> source);
    // Sent whenever a read stops, for whatever reason: the progress goes away.
    void ended();

private:
    struct Job {
        QUrl url;
        std::shared_ptr<std::atomic<bool>> cancel;
        std::shared_ptr<std::atomic<int>> lastPermille;
        QFutureWatcher<std::shared_ptr<AudioSource>>* watcher = nullptr;
        uint64_t generation = 0;
    };

    void jobDone(uint64_t generation);
    void dropJob();

    std::unique_ptr<Job> m_job;
    std::vector<QFutureWatcher<std::shared_ptr<AudioSource>>*> m_abandoned;
    uint64_t m_generation = 0;
    QTimer m_progressDelay;
};
