#pragma once
// Driving the real program on the session's X server as a user would: xdotool for windows, keys
// and the mouse, the built `lento` started with a file.
#include "common/Testing.h"

#include <QProcess>
#include <QHash>
#include <QProcessEnvironment>
#include <QRect>

namespace desktop {

inline QString xdotool(const QStringList& args)
{
    QByteArray out;
    fixtures::runProgram(QStringLiteral("xdotool"), args, &out, nullptr, 20000);
    return QString::fromLocal8Bit(out).trimmed();
}

// Until `done` (asked at least once) or `timeoutMs`, looking every tenth of a second.
template <typename Done>
inline bool waitUntil(Done done, int timeoutMs)
{
    QElapsedTimer clock;
    for (clock.start(); !done(); QThread::msleep(100))
        if (clock.elapsed() >= timeoutMs)
            return false;
    return true;
}

// The id of the shown window titled exactly `title`, once there is one.
inline QString shownWindowTitled(const QString& title, int timeoutMs = 15000)
{
    QString ids;
    waitUntil([&] { return !(ids = xdotool({"search", "--onlyvisible", "--name", "^" + title + "$"})).isEmpty(); }, timeoutMs);
    return ids.section('\n', 0, 0);
}

// Keys go to the focused window, as a user's do; no window manager gives focus here.
inline void keysTo(const QString& window, const QStringList& command)
{
    xdotool({"windowfocus", "--sync", window});
    xdotool(command);
}

inline bool canDriveX()
{
    return !qgetenv("DISPLAY").isEmpty()
        && fixtures::runProgram(QStringLiteral("xdotool"), {QStringLiteral("version")}, nullptr, nullptr, 5000) == 0;
}

// Starts the program with `file` on the X server; the id of its window titled `title`, or empty.
inline QString launchShowing(QProcess& lento, QProcessEnvironment env, const QString& file, const QString& title)
{
    // This test program runs offscreen; the program under test must reach the X server.
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    lento.setProcessEnvironment(env);
    lento.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    lento.start(fixtures::builtProgram(QStringLiteral("lento")), {file});
    return lento.waitForStarted(10000) ? shownWindowTitled(title, 30000) : QString();
}

// The window's rectangle on the screen; empty when xdotool cannot tell.
inline QRect windowGeometry(const QString& window)
{
    QHash<QString, int> v;
    for (const QString& line : xdotool({"getwindowgeometry", "--shell", window}).split('\n'))
        v[line.section('=', 0, 0)] = line.section('=', 1).toInt();
    return {v["X"], v["Y"], v["WIDTH"], v["HEIGHT"]};
}

// A left-button drag from `from` to `to` in screen pixels, through enough steps for the program
// to see a move with the button down.
inline void dragMouse(QPoint from, QPoint to, int steps = 8)
{
    xdotool({"mousemove", "--sync", QString::number(from.x()), QString::number(from.y())});
    xdotool({"mousedown", "1"});
    for (int i = 1; i <= steps; ++i) {
        const QPoint p = from + (to - from) * i / steps;
        xdotool({"mousemove", "--sync", QString::number(p.x()), QString::number(p.y())});
        QThread::msleep(20);
    }
    xdotool({"mouseup", "1"});
}

} // namespace desktop
