#include "audio/DataChunk.h"

#include <QFile>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {

uint64_t readUnsigned(const char* bytes, int size, bool bigEndian)
{
    uint64_t value = 0;
    for (int i = 0; i < size; ++i) {
        const int index = bigEndian ? i : size - 1 - i;
        value = (value << 8) | uint8_t(bytes[index]);
    }
    return value;
}

// Walks the chunks from `offset` on: each is a 4-byte id and a size of `sizeBytes` bytes. Returns
// the offset of the data chunk's payload and its stated size, or nothing when there is none.
struct DataRegion {
    uint64_t offset = 0;
    uint64_t size = 0;
};

std::optional<DataRegion> findData(QFile& file, uint64_t offset, int sizeBytes, bool bigEndian,
                                   const char* dataId, bool padToEven)
{
    const uint64_t fileSize = uint64_t(file.size());
    char header[12];
    const int headerSize = 4 + sizeBytes;
    while (offset + uint64_t(headerSize) <= fileSize) {
        if (!file.seek(qint64(offset)) || file.read(header, headerSize) != headerSize)
            return std::nullopt;
        const uint64_t size = readUnsigned(header + 4, sizeBytes, bigEndian);
        const uint64_t payload = offset + uint64_t(headerSize);
        if (std::equal(header, header + 4, dataId))
            return DataRegion{payload, size};
        if (size > fileSize) // a chunk of unknown size before the data: nothing to check
            return std::nullopt;
        offset = payload + size + (padToEven ? size % 2 : 0);
    }
    return std::nullopt;
}

} // namespace

namespace DataChunk {

bool isShorterThanDeclared(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    char head[12];
    if (file.read(head, sizeof head) != qint64(sizeof head))
        return false;
    const QByteArray riff(head, 4);
    std::optional<DataRegion> data;
    if ((riff == "RIFF" || riff == "RIFX") && QByteArray(head + 8, 4) == "WAVE") {
        data = findData(file, 12, 4, riff == "RIFX", "data", true);
        // 0 and 0xFFFFFFFF stand for "unknown" in files written while streaming.
        if (data && (data->size == 0 || data->size == 0xFFFFFFFFu))
            return false;
    } else if (QByteArray(head, 4) == "caff") {
        data = findData(file, 8, 8, true, "data", false);
        if (data && data->size == uint64_t(-1)) // "until the end of the file"
            return false;
    }
    return data && data->offset + data->size > uint64_t(file.size());
}

} // namespace DataChunk
