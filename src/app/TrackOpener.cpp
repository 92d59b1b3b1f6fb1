#include "app/TrackOpener.h"

#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

TrackOpener::TrackOpener(QObject* parent)
    : QObject(parent)
{
    m_progressDelay.setSingleShot(true);
    m_progressDelay.setInterval(kProgressDelayMs);
    connect(&m_progressDelay, &QTimer::timeout, this, [this] {
        if (m_job)
            emit progressShouldShow(m_job->url);
    });
}

TrackOpener::~TrackOpener()
{
    // No worker may outlive the object its progress is posted to.
    dropJob();
    for (auto* watcher : m_abandoned) {
        watcher->waitForFinished();
        delete watcher;
    }
}

void TrackOpener::open(const QUrl& url)
{
    dropJob();
    auto job = std::make_unique<Job>();
    job->url = url;
    job->cancel = std::make_shared<std::atomic<bool>>(false);
    job->lastPermille = std::make_shared<std::atomic<int>>(-1);
    job->generation = ++m_generation;
    job->watcher = new QFutureWatcher<std::shared_ptr<AudioSource>>();

    const uint64_t generation = job->generation;
    connect(job->watcher, &QFutureWatcherBase::finished, this, [this, generation] { jobDone(generation); });

    auto cancel = job->cancel;
    auto lastPermille = job->lastPermille;
    // Called often on the worker: only whole steps of a thousandth are posted.
    // The destructor waits for every worker, so `this` outlives the calls.
    AudioSource::Progress progress = [this, generation, lastPermille](double fraction) {
        const int permille = int(std::lround(std::clamp(fraction, 0.0, 1.0) * 1000.0));
        if (lastPermille->exchange(permille) == permille)
            return;
        QMetaObject::invokeMethod(
            this,
            [this, generation, fraction] {
                if (m_job && m_job->generation == generation)
                    emit progressChanged(fraction);
            },
            Qt::QueuedConnection);
    };
    job->watcher->setFuture(QtConcurrent::run([url, cancel, progress] {
        return std::make_shared<AudioSource>(AudioSource::read(url, cancel.get(), progress));
    }));
    m_job = std::move(job);
    m_progressDelay.start();
}

void TrackOpener::cancel()
{
    if (!m_job)
        return;
    dropJob();
    emit ended();
}

void TrackOpener::dropJob()
{
    m_progressDelay.stop();
    if (!m_job)
        return;
    m_job->cancel->store(true);
    // The worker sees the flag soon; its watcher is deleted once it has stopped.
    auto* watcher = m_job->watcher;
    disconnect(watcher, nullptr, this, nullptr);
    if (watcher->isFinished()) {
        watcher->deleteLater();
    } else {
        m_abandoned.push_back(watcher);
        connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
            m_abandoned.erase(std::remove(m_abandoned.begin(), m_abandoned.end(), watcher), m_abandoned.end());
            watcher->deleteLater();
        });
    }
    m_job.reset();
}

void TrackOpener::jobDone(uint64_t generation)
{
    if (!m_job || m_job->generation != generation)
        return;
    m_progressDelay.stop();
    auto source = m_job->watcher->result();
    const QUrl url = m_job->url;
    m_job->watcher->deleteLater();
    m_job.reset();
    emit ended();
    if (source && source->status != AudioSource::Status::Cancelled)
        emit finished(url, std::move(source));
}
