#pragma once

#include <QStringList>

class QTextStream;

// `lento --export IN -o OUT.wav [options]`: renders what the window would export with the same
// settings. `arguments` follow "--export". Returns the exit status: 0, 1 when cancelled (the
// partial file stays), 2 with one line on `err` for bad arguments or files.
int runExportCommand(const QStringList& arguments, QTextStream& err);
