#pragma once

// Ends the running event loop on SIGINT and SIGTERM, as a quit from the menu would, so a logout or
// Ctrl+C saves state and closes the device instead of killing the process mid-write. The handler
// only writes to a pipe; the quit runs on the main thread.
namespace QuitOnSignals {
// After the QCoreApplication exists.
void install();
}
