#include "preferences/UserDefaults.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {
struct UserDefaultsTest : ::testing::Test {
    QTemporaryDir dir;
    QString path() const { return dir.filePath("Lento.conf"); }
};
} // namespace

TEST_F(UserDefaultsTest, RegisteredDefaultsAnswerButAreNeverWritten)
{
    {
        UserDefaults defaults(path());
        defaults.registerDefaults({{"ApplePersistenceIgnoreState", true}, {"NSQuitAlwaysKeepsWindows", false}});
        EXPECT_TRUE(defaults.boolForKey("ApplePersistenceIgnoreState"));
        defaults.setObject(QStringLiteral("file:///a.wav"), "LastSongURL");
        ASSERT_TRUE(defaults.synchronize());
    }
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_TRUE(text.contains("LastSongURL"));
    EXPECT_FALSE(text.contains("ApplePersistenceIgnoreState"));

    UserDefaults reopened(path());
    EXPECT_FALSE(reopened.objectForKey("ApplePersistenceIgnoreState").isValid());
    EXPECT_EQ(reopened.stringForKey("LastSongURL"), "file:///a.wav");
}

TEST_F(UserDefaultsTest, StoredValueWinsOverRegisteredAndRemovalFallsBack)
{
    UserDefaults defaults(path());
    defaults.registerDefaults({{"Speed", 1.0}});
    defaults.setObject(0.5, "Speed");
    EXPECT_DOUBLE_EQ(defaults.doubleForKey("Speed"), 0.5);
    defaults.removeObjectForKey("Speed");
    EXPECT_DOUBLE_EQ(defaults.doubleForKey("Speed"), 1.0);
}

TEST_F(UserDefaultsTest, BinaryDataSurvivesAndTypedGettersRefuseOtherTypes)
{
    const QByteArray blob("\x00\x01\xffLTBM", 7);
    {
        UserDefaults defaults(path());
        defaults.setObject(blob, "LastSongBookmark");
        defaults.setObject(QStringLiteral("text"), "NotData");
        defaults.synchronize();
    }
    UserDefaults reopened(path());
    EXPECT_EQ(reopened.dataForKey("LastSongBookmark"), blob);
    EXPECT_TRUE(reopened.dataForKey("NotData").isEmpty());
    EXPECT_TRUE(reopened.stringForKey("LastSongBookmark").isEmpty());
}
