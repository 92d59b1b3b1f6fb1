#include "loops/PracticeDataFile.h"

#include "common/Testing.h"

#include "PrintLoopPair.h"

// The file a user takes to another computer: what was written reads back whole, and anything
// else is refused with its reason, never half read.
TEST(PracticeDataFile, WhatWasWrittenReadsBackAndAnythingElseIsRefusedWithItsReason)
{
    QTemporaryDir dir;
    const PracticeData data{{"take.wav", "AQAAE0mUaEkSRZEGAAAA", 183.5}, {{0.1, 0.25}, {0.5, 1.0}}, QJsonObject{{"speed", 0.75}}};
    const QString path = dir.filePath("take.json");
    QString error;
    ASSERT_TRUE(PracticeDataFile::write(path, data, &error)) << error.toStdString();
    const auto back = PracticeDataFile::read(path, &error);
    ASSERT_TRUE(back) << error.toStdString();
    EXPECT_EQ(std::tie(back->track.name, back->track.fingerprint, back->track.seconds),
              std::tie(data.track.name, data.track.fingerprint, data.track.seconds));
    EXPECT_EQ(back->loops, data.loops);
    EXPECT_EQ(back->settings, data.settings);
    EXPECT_FALSE(PracticeDataFile::write(dir.filePath("no/such/folder/take.json"), data, &error));
    EXPECT_FALSE(error.isEmpty());

    const QByteArray valid = fixtures::readFile(path);
    const QByteArray header = R"({"format": "lento-practice", "version": 1, "loops": )";
    // Bytes that are null stand for no file at all.
    const struct { const char* name; QByteArray bytes; QString reason; } refused[] = {
        {"missing", {}, "No such file or directory"},
        {"larger than a megabyte", valid + QByteArray(1 << 20, ' '), "it is larger than 1048576 bytes"},
        {"not JSON", "{\"format\": \"lento-practice\",", "it is not JSON: "},
        {"another format", R"({"format": "lento-loops", "version": 1})", "it is not Lento practice data"},
        {"a later version", R"({"format": "lento-practice", "version": 2})", "it is not Lento practice data"},
        {"a loop backwards", header + R"([{"left": 0.1, "right": 0.2}, {"left": 0.5, "right": 0.4}]})", "loop 2 is not a stretch within the track"},
        {"a loop without an end", header + R"([{"left": 0.5}]})", "loop 1 is not a stretch within the track"},
        {"a loop past the end", header + R"([{"left": 0.5, "right": 1.5}]})", "loop 1 is not a stretch within the track"},
    };
    for (const auto& row : refused) {
        SCOPED_TRACE(row.name);
        const QString file = dir.filePath(QString::fromLatin1(row.name));
        ASSERT_TRUE(row.bytes.isNull() || fixtures::writeFile(file, row.bytes));
        error.clear();
        EXPECT_FALSE(PracticeDataFile::read(file, &error));
        EXPECT_TRUE(error.startsWith(row.reason)) << error.toStdString();
    }
}
