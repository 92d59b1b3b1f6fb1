// Bookmark bytes as the settings file hands them back: whatever they hold, resolving gives a file
// that is there, or no file and a reason.
#include "FuzzSupport.h"

#include "library/FileBookmark.h"

#include <QByteArray>
#include <QFileInfo>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    bool stale = false;
    QString error;
    const QUrl url = FileBookmark::URLByResolvingBookmarkData(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)), &stale, &error);
    if (url.isEmpty()) {
        fuzz::require(!error.isEmpty(), "a bookmark that resolves to nothing says why");
        return 0;
    }
    fuzz::require(error.isEmpty(), "a resolved bookmark has no error");
    fuzz::require(url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile(), "a resolved bookmark names a file that is there");
    return 0;
}
