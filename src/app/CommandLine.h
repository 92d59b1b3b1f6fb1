#pragma once

#include <QStringList>

#include <optional>

class QTextStream;

// What the process was asked to do: a command that runs without a window, or the window with an
// optional file to open.
struct CommandLine {
    std::optional<int> exitStatus; // set when a command has run (or the arguments were refused)
    QString fileToOpen;

    // `arguments` excludes the program name.
    static CommandLine run(const QStringList& arguments, QTextStream& out, QTextStream& err);
    static QString usage();
};
