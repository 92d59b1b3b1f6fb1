// chords_probe FILE: runs the chord estimator's stages on a file and tells how the time splits
// between decoding (with the downmix into the sample store) and the analysis proper.
#include "analysis/LTChordEstimatorInternal.h"
#include "audio/AudioFileReader.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: chords_probe FILE\n");
        return 2;
    }
    const QString path = QString::fromLocal8Bit(argv[1]);
    QElapsedTimer clock;
    clock.start();
    AudioFileReader reader;
    if (!reader.open(path))
        return 1;
    ChordSampleStore store;
    ChordSampleCollector collector(reader.info().sampleRate, reader.info().channelCount, QFileInfo(path).fileName(), store);
    const bool intact = reader.decode(
        [&collector](const float* block, int64_t frames) { return collector.appendInterleaved(block, frames); });
    if (!intact && !collector.capReached())
        return 1;
    const double decodeSeconds = double(clock.nsecsElapsed()) * 1e-9;
    clock.restart();
    const QList<LTChordSegment> segments = analyseChordSamples(store, QFileInfo(path).fileName());
    const double analyseSeconds = double(clock.nsecsElapsed()) * 1e-9;
    const double total = decodeSeconds + analyseSeconds;
    std::printf("segments %lld\nkept samples %lld\ndecode %.3f s (%.0f%%)\nanalyse %.3f s (%.0f%%)\ntotal %.3f s\n",
                static_cast<long long>(segments.size()), static_cast<long long>(store.size()), decodeSeconds,
                100.0 * decodeSeconds / total, analyseSeconds, 100.0 * analyseSeconds / total, total);
    return 0;
}
