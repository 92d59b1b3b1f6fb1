// The built program's commands, run as a user or a script runs them.
#include "common/Testing.h"

#include <sys/resource.h>

namespace {

double amplitude(const fixtures::Signal& s, int c)
{
    return measure::sineAmplitude(s.channel(c), 0, s.frames());
}

} // namespace

TEST(CommandLineTest, CommandsAnswerWithProgressOnlyOnStderrAFailedExportKeepsTheOldFileAndBadArgumentsExitWithTwoAndALineSayingWhy)
{
    QTemporaryDir dir;
    // Left 440 Hz, right 660 Hz at 0.5, 6 s at 22,050 Hz.
    const QString input = dir.filePath("in.wav");
    ASSERT_TRUE(fixtures::writeWav(input, fixtures::stereoSines(22050, 6 * 22050)));
    fixtures::LentoRun r = fixtures::runLento({"--info", input});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_TRUE(r.err.isEmpty()) << r.err.constData();
    const QJsonObject info = QJsonDocument::fromJson(r.out).object();
    EXPECT_GE(info["numBins"].toInt() * info["binSize"].toInt(), 6 * 22050) << "the bins cover the track";
    EXPECT_NEAR(info["maxY"].toDouble(), 0.25, 0.01) << "the square of the peak";
    for (const auto& [key, value] : {std::pair{"path", QJsonValue(input)}, {"sampleRate", 22050}, {"channels", 2}, {"frames", 6 * 22050}, {"duration", 6.0}})
        EXPECT_EQ(info[key], value) << key;

    // What the segments hold is the estimator's business; here, that they come out as JSON.
    r = fixtures::runLento({"--chords", input});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_TRUE(r.err.isEmpty()) << "no progress unless asked for, off a terminal";
    const fixtures::LentoRun withProgress = fixtures::runLento({"--chords", input, "--progress"});
    EXPECT_EQ(withProgress.out, r.out);
    EXPECT_TRUE(withProgress.err.contains("analysing: 100%")) << withProgress.err.constData();
    ASSERT_TRUE(fixtures::writeWav(dir.filePath("silent.wav"), fixtures::synthesise(22050, 2, 3 * 22050, [](int64_t, int) { return 0.0f; })));
    EXPECT_EQ(fixtures::runLento({"--chords", dir.filePath("silent.wav")}).out, "[]\n") << "silence is the one file with no chords";

    for (const auto& [option, answer] : {std::pair{"--help", "Usage: lento"}, {"-h", "Usage: lento"}, {"--version", "lento "}}) {
        r = fixtures::runLento({option});
        EXPECT_EQ(r.status, 0);
        EXPECT_TRUE(r.out.startsWith(answer)) << r.out.constData();
    }

    // Export renders the range with its settings, loops repeat it, and a failed one leaves the file that was there.
    const QString out = dir.filePath("out.wav");
    r = fixtures::runLento({"--export", input, "-o", out, "--from", "1", "--to", "3", "--speed",
                                               "0.5", "--cents", "1200", "--solo", "right", "--volume", "0.5"});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_TRUE(r.out.isEmpty());
    EXPECT_TRUE(r.err.contains("exporting: ")) << "progress lines when stderr is not a terminal";
    fixtures::Signal written;
    ASSERT_TRUE(fixtures::readSoundFile(out, written));
    EXPECT_EQ(written.sampleRate, 22050);
    EXPECT_NEAR(double(written.frames()), 4.0 * 22050, 4096.0) << "two seconds of range at half speed";
    for (int c : {0, 1}) {
        EXPECT_NEAR(measure::zeroCrossingFrequency(written.channel(c), 0, written.frames(), 22050), 1320.0, 20.0) << "the right channel an octave up on " << c;
        EXPECT_NEAR(amplitude(written, c), 0.25, 0.04) << c;
    }

    // A file size limit makes the writes of the next export fail part way, as a full disk does.
    ASSERT_TRUE(QFile::setPermissions(out, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    const QFile::Permissions mode = QFile::permissions(out);
    const QByteArray before = fixtures::readFile(out);
    const QDir::Filters all = QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot;
    const QStringList names = QDir(dir.path()).entryList(all);
    // Above the decoded track's cache (about 1 MB), below the export's 4 MB.
    r = fixtures::runLento({"--export", input, "-o", out, "--loops", "8"}, [] {
        const rlimit limit{2 << 20, 2 << 20};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(r.err.endsWith("\n") && r.err.contains("lento: " + out.toUtf8() + ": can not be written (") && r.err.count("lento:") == 1)
        << r.err.constData();
    EXPECT_TRUE(fixtures::readFile(out) == before) << "the old file is untouched";
    EXPECT_EQ(QDir(dir.path()).entryList(all), names) << "no temporary file is left";

    r = fixtures::runLento({"--export", input, "-o", out, "--from", "0", "--to", "1", "--loops", "3", "--filter", "440"});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    ASSERT_TRUE(fixtures::readSoundFile(out, written));
    EXPECT_EQ(written.frames(), 3 * 22050) << "three passes of the range";
    EXPECT_GT(std::abs(amplitude(written, 1) - amplitude(written, 0)), 0.07) << "the tone filter treats 440 and 660 Hz apart";
    EXPECT_EQ(QFile::permissions(out), mode) << "a whole export replaces the file and keeps its permissions";
    EXPECT_EQ(QDir(dir.path()).entryList(all), names);

    // Bad arguments and files exit with 2 and one line saying why.
    const QString text = dir.filePath("text.wav");
    ASSERT_TRUE(fixtures::writeFile(text, "no audio here"));
    const QString longFile = dir.filePath("long.wav"); // four hours and a frame at 10 Hz
    ASSERT_TRUE(fixtures::writeWav(longFile, fixtures::synthesise(10, 1, 144001, [](int64_t, int) { return 0.1f; })));
    // A header that promises more than the file holds: it opens, and decoding stops short.
    const QString cut = dir.filePath("cut.wav");
    ASSERT_TRUE(fixtures::writeWav(cut, fixtures::stereoSines(22050, 3 * 22050)));
    ASSERT_TRUE(QFile::resize(cut, QFileInfo(cut).size() / 2 + 3));
    const QString empty = dir.filePath("empty.wav");
    ASSERT_TRUE(fixtures::writeWav(empty, fixtures::stereoSines(22050, 0)));
    const QString never = dir.filePath("never.wav");
    const QString missing = dir.filePath("missing.wav");
    const QList<std::pair<QStringList, const char*>> cases{
        {{"--bogus"}, "unknown option --bogus"},
        {{"--info"}, "--info takes exactly one file"},
        {{"--info", missing}, "missing.wav: no such file"},
        {{"--info", dir.path()}, "not a readable file"},
        {{"--info", text}, "text.wav: "},
        {{"--info", longFile}, "four hours"},
        {{"--info", cut}, "cut.wav: the file is damaged or truncated"},
        {{"--export", input}, "needs an output file"},
        {{"--export", "-o", never}, "needs an input file"},
        {{"--export", input, input, "-o", never}, "only one input file"},
        {{"--export", input, "-o", dir.filePath("out.mp3")}, "must end in .wav"},
        {{"--export", input, "-o", never, "--speed", "2"}, "--speed needs a number from 0.25 to 1.5, not \"2\""},
        {{"--export", input, "-o", never, "--solo", "middle"}, "--solo takes left or right"},
        {{"--export", input, "-o", never, "--centre", "middle"}, "--centre takes cancel or only, not \"middle\""},
        {{"--export", input, "-o", never, "--from", "3", "--to", "2"}, "--to must lie after --from"},
        {{"--export", input, "-o", never, "--volume"}, "--volume needs a value"},
        {{"--export", input, "-o", never, "--bogus", "1"}, "unknown option --bogus"},
        {{"--export", missing, "-o", never}, "missing.wav: no such readable file"},
        {{"--export", text, "-o", never}, "text.wav: "},
        {{"--export", input, "-o", dir.filePath("no/such/dir/out.wav")}, "out.wav: can not be written"},
        {{"--export", input, "-o", input}, "would overwrite the input"},
        {{"--chords"}, "--chords needs an input file"},
        {{"--chords", missing}, "no such readable file"},
        {{"--chords", text}, "not a readable audio file"},
        {{"--chords", cut}, "cut.wav: the file is damaged or truncated"},
        {{"--chords", empty}, "empty.wav: the file holds no audio"},
        {{"--chords", "a", "b"}, "--chords takes exactly one file"},
        {{"--chords", "--bogus"}, "unknown option --bogus"},
        {{"--chords", input, "--method"}, "--method takes precise or basic"},
        {{"--chords", input, "--method", "fast"}, "--method takes precise or basic"},
    };
    for (const auto& [args, why] : cases) {
        SCOPED_TRACE(args.join(' ').toStdString());
        r = fixtures::runLento(args);
        EXPECT_EQ(r.status, 2);
        EXPECT_TRUE(r.out.isEmpty());
        EXPECT_TRUE(r.err.startsWith("lento: ") && r.err.count('\n') == 1 && r.err.contains(why)) << r.err.constData();
        EXPECT_FALSE(QFileInfo::exists(never));
    }
}
