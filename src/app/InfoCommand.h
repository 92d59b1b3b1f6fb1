#pragma once

#include <QString>

class QTextStream;

// `lento --info FILE`: the track's format and its waveform figures as one JSON object.
// Returns the exit status: 0, or 2 with one line on `err` when the file can not be used.
int runInfoCommand(const QString& path, QTextStream& out, QTextStream& err);
