// The desktop's recently-used list, which any application may have written: reading it never
// fails badly, and where our entry is added, it and every entry before it read back.
#include "FuzzSupport.h"

#include "platform/RecentDocuments.h"

#include <QDateTime>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const RecentDocuments recent(fuzz::writeScratchFile(QStringLiteral("recently-used.xbel"), data, size));
    const QStringList before = recent.recentURLs();
    const QUrl ours = QUrl::fromLocalFile(fuzz::scratchFolder() + QStringLiteral("/a track.wav"));
    const QDateTime when(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC);
    if (!recent.noteNewRecentDocumentURL(ours, QStringLiteral("audio/x-wav"), when))
        return 0;
    const QStringList after = recent.recentURLs();
    fuzz::require(after.contains(ours.toString(QUrl::FullyEncoded)), "our entry reads back");
    for (const QString& url : before)
        fuzz::require(after.contains(url), "every entry that was there reads back");
    return 0;
}
