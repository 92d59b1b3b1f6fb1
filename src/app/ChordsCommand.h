#pragma once

#include <QStringList>

class QTextStream;

// `lento --chords IN [--progress]`: the file's chord segments as a JSON array on `out`, nothing
// else there. `arguments` follow "--chords". Returns 0, or 2 with one line on `err`.
int runChordsCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);
