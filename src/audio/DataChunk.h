#pragma once

#include <QString>

// FFmpeg's WAV and CAF demuxers quietly shorten the stream to the bytes that are there when a file
// holds less audio data than its header states, so a truncated file would look intact. This reads
// the header's own statement of the data size.
namespace DataChunk {

// True when `path` is a WAV (RIFF/RIFX) or CAF file whose data chunk claims more bytes than the file
// holds. False for any other file, and for data chunks of unknown size (streamed files).
bool isShorterThanDeclared(const QString& path);

} // namespace DataChunk
