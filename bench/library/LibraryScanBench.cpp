// A library of 5,000 tagged files: the first scan, a rescan that finds nothing changed, and the
// longest time the event loop that receives the scan's results is kept from running.
//
// The files are made once into $TMPDIR/lento-bench-library-5000 (about a minute) and reused.
// Each repetition scans them into a fresh index; the medians are the figures.
#include "library/LTMusicLibraryBrowser.h"
#include "library/MusicLibraryIndex.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>
#include <taglib/fileref.h>
#include <taglib/tag.h>

namespace {

constexpr int kFiles = 5000;
constexpr int kPerFolder = 100;
const QStringList kFormats{"mp3", "flac", "ogg", "m4a", "wav"};

bool makeSources(const QDir& dir)
{
    for (const QString& format : kFormats) {
        const QString out = dir.filePath("source." + format);
        if (QFile::exists(out))
            continue;
        const int code = QProcess::execute("ffmpeg", {"-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i",
                                                      "sine=frequency=440:duration=0.5", "-ac", "2", out});
        if (code != 0)
            return false;
    }
    return true;
}

// Copies of the sources with tags of their own, 100 to a folder.
QString library()
{
    const QDir root(QDir::temp().filePath("lento-bench-library-5000"));
    const QString done = root.filePath(".complete");
    if (QFile::exists(done))
        return root.filePath("Music");
    root.mkpath("sources");
    if (!makeSources(QDir(root.filePath("sources"))))
        return {};
    for (int i = 0; i < kFiles; ++i) {
        const QString format = kFormats[i % kFormats.size()];
        const QString folder = root.filePath(QStringLiteral("Music/Artist %1/Album %2").arg(i / 500).arg(i / kPerFolder));
        QDir().mkpath(folder);
        const QString path = QStringLiteral("%1/%2 Track.%3").arg(folder).arg(i, 4, 10, QLatin1Char('0')).arg(format);
        QFile::remove(path);
        if (!QFile::copy(root.filePath("sources/source." + format), path))
            return {};
        TagLib::FileRef file(QFile::encodeName(path).constData());
        if (file.isNull() || !file.tag())
            return {};
        file.tag()->setTitle(TagLib::String(QStringLiteral("Song %1").arg(i).toStdString(), TagLib::String::UTF8));
        file.tag()->setArtist(TagLib::String(QStringLiteral("Artist %1").arg(i / 500).toStdString(), TagLib::String::UTF8));
        file.tag()->setAlbum(TagLib::String(QStringLiteral("Album %1").arg(i / kPerFolder).toStdString(), TagLib::String::UTF8));
        file.save();
    }
    QFile(done).open(QIODevice::WriteOnly);
    return root.filePath("Music");
}

// Runs one scan to its end while a 1 ms timer on the receiving thread notes its longest gap.
double scanSeconds(MusicLibraryIndex& index, double* longestStallMs)
{
    QEventLoop loop;
    QObject::connect(&index, &MusicLibraryIndex::scanFinished, &loop, &QEventLoop::quit);
    QElapsedTimer sinceTick;
    qint64 longest = 0;
    QTimer ticks;
    ticks.setInterval(1);
    QObject::connect(&ticks, &QTimer::timeout, [&] {
        longest = std::max(longest, sinceTick.nsecsElapsed());
        sinceTick.restart();
    });
    QElapsedTimer wall;
    wall.start();
    sinceTick.start();
    ticks.start();
    index.rescan();
    loop.exec();
    const double seconds = wall.nsecsElapsed() / 1e9;
    ticks.stop();
    if (longestStallMs)
        *longestStallMs = longest / 1e6;
    return seconds;
}

void BM_ScanOf5000TaggedFiles(benchmark::State& state)
{
    const QString music = library();
    if (music.isEmpty()) {
        state.SkipWithError("could not make the library (ffmpeg and TagLib)");
        return;
    }
    for (auto _ : state) {
        QTemporaryDir data;
        auto owned = std::make_unique<MusicLibraryIndex>(QStringList{music}, data.filePath("index.sqlite"));
        MusicLibraryIndex& index = *owned;
        // What the window does with a new snapshot: the browser rebuilds its entries.
        LTMusicLibraryBrowser browser(std::move(owned));
        QObject::connect(&index, &MusicLibraryIndex::libraryChanged, [&] { browser.reloadMusicLibrary(); });
        double stallMs = 0.0;
        const double first = scanSeconds(index, &stallMs);
        const int tagsReadFirst = index.lastScanReport().tagsRead;
        const double rescan = scanSeconds(index, nullptr);
        state.SetIterationTime(first);
        state.counters["tracks"] = double(index.allMediaItems().size());
        state.counters["tags_read_first"] = double(tagsReadFirst);
        state.counters["tags_read_rescan"] = double(index.lastScanReport().tagsRead);
        state.counters["first_scan_s"] = first;
        state.counters["rescan_s"] = rescan;
        state.counters["longest_stall_ms"] = stallMs;
    }
}
BENCHMARK(BM_ScanOf5000TaggedFiles)->UseManualTime()->Iterations(1)->Repetitions(5)->ReportAggregatesOnly(true)->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
