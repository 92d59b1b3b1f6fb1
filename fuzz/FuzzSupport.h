#pragma once

// Shared by the fuzz targets: a scratch folder of the process's own, quiet logging, and a check
// that aborts, so libFuzzer keeps the input that broke a rule.

#include <QString>

#include <cstddef>
#include <cstdint>

namespace fuzz {

// Made on first use, removed at exit.
QString scratchFolder();

// Replaces the file `name` in the scratch folder with the bytes; returns its path.
QString writeScratchFile(const QString& name, const uint8_t* data, size_t size);

// Aborts with `what` on stderr when `ok` is false.
void require(bool ok, const char* what);

} // namespace fuzz
