#include "app/CommandLine.h"

#include "app/ChordsCommand.h"
#include "app/ExportCommand.h"
#include "app/InfoCommand.h"

#include <QLoggingCategory>
#include <QTextStream>

QString CommandLine::usage()
{
    return QStringLiteral(
        "Usage: lento [FILE]\n"
        "       lento --info FILE\n"
        "       lento --export IN -o OUT.wav [--from SEC] [--to SEC] [--speed R] [--cents C]\n"
        "                   [--filter HZ] [--solo left|right | --centre cancel|only] [--volume G]\n"
        "                   [--loops N] [--trainer START:STEP:EVERY:LIMIT]\n"
        "                   [--gap SEC | --count-in N [--bpm BPM]]\n"
        "       lento --chords IN [--method precise|basic] [--progress]\n"
        "       lento --help | --version\n"
        "\n"
        "  FILE            open FILE in the window\n"
        "  --info FILE     print the track's format and waveform figures as JSON\n"
        "  --export IN     render IN with the given settings into the WAV file OUT:\n"
        "                  --from/--to the range in seconds, --speed 0.25 to 1.5,\n"
        "                  --cents -1200 to 1200, --filter a band around HZ, --solo one\n"
        "                  channel on both sides, --centre cancel removes what both sides\n"
        "                  share and --centre only keeps just that, --volume 0 to 1,\n"
        "                  --loops passes of the range,\n"
        "                  --trainer a speed that starts at START and grows by STEP\n"
        "                  every EVERY passes up to LIMIT, --gap seconds of silence\n"
        "                  or --count-in N clicks at BPM (120) before each pass\n"
        "  --chords IN     print IN's chord segments as a JSON array; --method basic uses\n"
        "                  the simpler estimator of earlier versions; --progress shows\n"
        "                  the progress on stderr\n"
        "  --help          show this text\n"
        "  --version       show the version\n");
}

namespace {

CommandLine finished(int status)
{
    CommandLine line;
    line.exitStatus = status;
    return line;
}

// A command's own error line is the one clear message; the log and the decoder stay quiet.
void quietLog()
{
    QLoggingCategory::setFilterRules(QStringLiteral("lento*=false"));
}

CommandLine refuse(QTextStream& err, const QString& why)
{
    err << "lento: " << why << " (see lento --help)\n";
    return finished(2);
}

} // namespace

CommandLine CommandLine::run(const QStringList& arguments, QTextStream& out, QTextStream& err)
{
    if (arguments.isEmpty())
        return {};
    const QString& first = arguments.first();
    if (first == QLatin1String("--help") || first == QLatin1String("-h")) {
        out << usage();
        return finished(0);
    }
    if (first == QLatin1String("--version")) {
        out << "lento " << LENTO_VERSION << "\n";
        return finished(0);
    }
    if (first == QLatin1String("--info")) {
        if (arguments.size() != 2)
            return refuse(err, QStringLiteral("--info takes exactly one file"));
        quietLog();
        return finished(runInfoCommand(arguments.at(1), out, err));
    }
    if (first == QLatin1String("--export")) {
        quietLog();
        return finished(runExportCommand(arguments.mid(1), err));
    }
    if (first == QLatin1String("--chords")) {
        quietLog();
        return finished(runChordsCommand(arguments.mid(1), out, err));
    }
    if (first.startsWith(QLatin1Char('-')))
        return refuse(err, QStringLiteral("unknown option %1").arg(first));
    // A file manager hands over every file selected; the first one opens, as with a drop.
    CommandLine line;
    line.fileToOpen = first;
    return line;
}
