#include "app/ExportCommand.h"

#include "audio/AudioEngine.h"
#include "audio/ExportProgress.h"
#include "audio/VirtualOutput.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QTextStream>
#include <QTimer>

#include <cmath>
#include <csignal>
#include <optional>
#include <unistd.h>

namespace {

struct ExportSettings {
    QString input;
    QString output;
    std::optional<double> from, to;
    double speed = 1.0;
    double cents = 0.0;
    std::optional<double> filter;
    int solo = 0;
    double volume = 1.0;
    int loops = 1;
    PassPlan plan;
};

// A number within [low, high], or nothing with `error` set.
std::optional<double> number(const QString& option, const QString& text, double low, double high, QString& error)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (ok && value >= low && value <= high)
        return value;
    error = QStringLiteral("%1 needs a number from %2 to %3, not \"%4\"").arg(option).arg(low).arg(high).arg(text);
    return std::nullopt;
}

// START:STEP:EVERY:LIMIT, e.g. 0.6:0.05:2:1.0.
bool parseTrainer(const QString& value, PassPlan& plan, QString& error)
{
    const QStringList parts = value.split(QLatin1Char(':'));
    error = QStringLiteral("--trainer takes START:STEP:EVERY:LIMIT (speeds 0.25 to 1.5, EVERY from 1 passes), "
                           "not \"%1\"").arg(value);
    if (parts.size() != 4)
        return false;
    bool ok[4] = {};
    const double start = parts[0].toDouble(&ok[0]);
    const double step = parts[1].toDouble(&ok[1]);
    const int every = parts[2].toInt(&ok[2]);
    const double limit = parts[3].toDouble(&ok[3]);
    const auto speed = [](double r) { return r >= 0.25 && r <= 1.5; };
    if (!(ok[0] && ok[1] && ok[2] && ok[3]) || !speed(start) || !speed(limit) || every < 1 || std::abs(step) > 1.25)
        return false;
    plan.startRate = start;
    plan.step = step;
    plan.every = every;
    plan.limitRate = limit;
    error.clear();
    return true;
}

bool parseOption(const QString& option, const QString& value, ExportSettings& s, QString& error)
{
    const auto set = [&](auto& field, double low, double high) {
        const std::optional<double> n = number(option, value, low, high, error);
        if (n)
            field = *n;
        return bool(n);
    };
    if (option == QLatin1String("-o")) {
        s.output = value;
        return true;
    }
    if (option == QLatin1String("--solo")) {
        if (value == QLatin1String("left") || value == QLatin1String("right")) {
            s.solo = value == QLatin1String("left") ? 1 : 2;
            return true;
        }
        error = QStringLiteral("--solo takes left or right, not \"%1\"").arg(value);
        return false;
    }
    if (option == QLatin1String("--trainer"))
        return parseTrainer(value, s.plan, error);
    if (option == QLatin1String("--gap"))
        return set(s.plan.gapSeconds, 0.0, 60.0);
    if (option == QLatin1String("--count-in"))
        return set(s.plan.countIn, 1.0, 16.0);
    if (option == QLatin1String("--bpm"))
        return set(s.plan.bpm, 20.0, 400.0);
    if (option == QLatin1String("--centre")) {
        if (value == QLatin1String("cancel") || value == QLatin1String("only")) {
            s.solo = value == QLatin1String("cancel") ? AudioEngine::kCancelCentre : AudioEngine::kCentreOnly;
            return true;
        }
        error = QStringLiteral("--centre takes cancel or only, not \"%1\"").arg(value);
        return false;
    }
    if (option == QLatin1String("--from"))
        return set(s.from, 0.0, AudioSource::maximumSeconds);
    if (option == QLatin1String("--to"))
        return set(s.to, 0.0, AudioSource::maximumSeconds);
    if (option == QLatin1String("--speed"))
        return set(s.speed, 0.25, 1.5);
    if (option == QLatin1String("--cents"))
        return set(s.cents, -1200.0, 1200.0);
    if (option == QLatin1String("--filter"))
        return set(s.filter, 1.0001, 9999.9999);
    if (option == QLatin1String("--volume"))
        return set(s.volume, 0.0, 1.0);
    if (option == QLatin1String("--loops"))
        return set(s.loops, 1.0, 1000.0);
    error = QStringLiteral("unknown option %1").arg(option);
    return false;
}

bool parse(const QStringList& args, ExportSettings& s, QString& error)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (!arg.startsWith(QLatin1Char('-'))) {
            if (!s.input.isEmpty()) {
                error = QStringLiteral("only one input file can be exported");
                return false;
            }
            s.input = arg;
            continue;
        }
        if (i + 1 >= args.size()) {
            error = QStringLiteral("%1 needs a value").arg(arg);
            return false;
        }
        if (!parseOption(arg, args.at(++i), s, error))
            return false;
    }
    if (s.input.isEmpty())
        error = QStringLiteral("--export needs an input file");
    else if (s.output.isEmpty())
        error = QStringLiteral("--export needs an output file: -o OUT.wav");
    else if (!s.output.endsWith(QLatin1String(".wav"), Qt::CaseInsensitive))
        error = QStringLiteral("the output file must end in .wav");
    else if (s.from && s.to && *s.to <= *s.from)
        error = QStringLiteral("--to must lie after --from");
    else if (s.plan.gapSeconds > 0.0 && s.plan.countIn > 0)
        error = QStringLiteral("--gap and --count-in exclude each other");
    return error.isEmpty();
}

std::atomic<bool> interrupted{false};

// Progress on stderr: a bar that redraws itself on a terminal, a line every tenth elsewhere.
class ConsoleProgress : public ExportProgress {
public:
    ConsoleProgress(QTextStream& err, QEventLoop& loop)
        : m_err(err)
        , m_loop(loop)
        , m_terminal(isatty(STDERR_FILENO))
    {
    }
    void setProgressBar(double fraction) override
    {
        const int percent = int(fraction * 100.0);
        if (m_terminal) {
            const int filled = percent * 40 / 100;
            m_err << "\r[" << QString(filled, QLatin1Char('#')) << QString(40 - filled, QLatin1Char('.')) << "] "
                  << percent << "%" << Qt::flush;
        } else if (percent / 10 > m_lastTenth) {
            m_lastTenth = percent / 10;
            m_err << "exporting: " << m_lastTenth * 10 << "%\n" << Qt::flush;
        }
    }
    void hideProgressBar() override
    {
        if (m_terminal)
            m_err << "\r" << QString(48, QLatin1Char(' ')) << "\r" << Qt::flush;
        m_loop.quit();
    }

private:
    QTextStream& m_err;
    QEventLoop& m_loop;
    const bool m_terminal;
    int m_lastTenth = -1;
};

void applySettings(AudioEngine& engine, const ExportSettings& s)
{
    const double duration = engine.duration();
    const float from = float(std::min(1.0, s.from.value_or(0.0) / duration));
    const float to = float(std::min(1.0, s.to.value_or(duration) / duration));
    engine.setLoop(s.loops > 1 || s.plan.trains() || s.plan.leads());
    engine.setPassPlan(s.plan);
    engine.fillBufferFrom(from, to, from);
    engine.setSpeed(float(s.speed));
    engine.setPitch(float(s.cents));
    engine.pitchEnable(s.cents != 0.0);
    if (s.filter) {
        engine.setFilter(float(*s.filter));
        engine.filterEnable(true);
    }
    if (s.solo == 1)
        engine.soloLeft(true);
    else if (s.solo == 2)
        engine.soloRight(true);
    else if (s.solo == AudioEngine::kCancelCentre)
        engine.cancelCentre(true);
    else if (s.solo == AudioEngine::kCentreOnly)
        engine.centreOnly(true);
    engine.setVolume(float(s.volume));
    engine.setExportPasses(s.loops);
}

} // namespace

int runExportCommand(const QStringList& arguments, QTextStream& err)
{
    ExportSettings settings;
    QString error;
    if (!parse(arguments, settings, error)) {
        err << "lento: " << error << " (see lento --help)\n";
        return 2;
    }
    const QFileInfo input(settings.input);
    const QFileInfo output(settings.output);
    if (!input.isFile() || !input.isReadable()) {
        err << "lento: " << settings.input << ": no such readable file\n";
        return 2;
    }
    if (!QFileInfo(output.absolutePath()).isDir() || !QFileInfo(output.absolutePath()).isWritable()
        || (output.exists() && !output.isWritable())) {
        err << "lento: " << settings.output << ": can not be written\n";
        return 2;
    }
    if (output.exists() && output.canonicalFilePath() == input.canonicalFilePath()) {
        err << "lento: the output would overwrite the input\n";
        return 2;
    }

    AudioEngine engine(AudioEngine::Options{[] { return std::make_unique<VirtualOutput>(); },
                                            AudioGraph::Rendering::InOutputCallback, false});
    AudioSource source = AudioSource::read(QUrl::fromLocalFile(input.absoluteFilePath()));
    if (!source.isReady()) {
        err << "lento: " << settings.input << ": " << source.reason << "\n";
        return 2;
    }
    if (!engine.adoptSource(std::move(source))) {
        err << "lento: " << settings.input << ": could not be prepared for rendering\n";
        return 2;
    }
    applySettings(engine, settings);

    QEventLoop loop;
    ConsoleProgress progress(err, loop);
    engine.setExportProgress(&progress);
    // Past a file size limit a write fails and is reported, instead of the signal ending the process.
    std::signal(SIGXFSZ, SIG_IGN);
    engine.exportToURL(QUrl::fromLocalFile(output.absoluteFilePath()), QStringLiteral("wav"));
    if (!engine.isExporting()) {
        err << "lento: " << settings.output << ": can not be written (" << engine.exportError() << ")\n";
        return 2;
    }
    interrupted = false;
    std::signal(SIGINT, [](int) { interrupted = true; });
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        if (interrupted)
            engine.setRenderAbort(true);
    });
    watch.start(50);
    loop.exec();
    std::signal(SIGINT, SIG_DFL);
    if (!engine.exportError().isEmpty()) {
        err << "lento: " << settings.output << ": can not be written (" << engine.exportError()
            << "); a file that was there is unchanged\n";
        return 2;
    }
    if (interrupted) {
        err << "lento: export cancelled; the part rendered stays in " << settings.output << "\n";
        return 1;
    }
    return 0;
}
