#include "library/FileBookmark.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>

#include <dirent.h>
#include <sys/stat.h>

#include <deque>
#include <optional>

namespace {

const QByteArray magic = QByteArrayLiteral("LentoBkm");
constexpr quint16 formatVersion = 1;

struct FileIdentity {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 mtimeNs = 0;
};

struct Record {
    QByteArray path; // as the file system names it
    FileIdentity identity;
};

std::optional<FileIdentity> regularFileIdentity(const QByteArray& path)
{
    struct stat st {};
    if (path.isEmpty() || ::stat(path.constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return std::nullopt;
    return FileIdentity{static_cast<quint64>(st.st_dev), static_cast<quint64>(st.st_ino),
                        static_cast<qint64>(st.st_size),
                        static_cast<qint64>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
}

bool sameInode(const FileIdentity& a, const FileIdentity& b)
{
    return a.device == b.device && a.inode == b.inode;
}

QByteArray encode(const Record& r)
{
    QByteArray data = magic;
    QDataStream out(&data, QIODevice::WriteOnly | QIODevice::Append);
    out.setVersion(QDataStream::Qt_6_0);
    out << formatVersion << r.path << r.identity.device << r.identity.inode << r.identity.size << r.identity.mtimeNs;
    return data;
}

std::optional<Record> decode(const QByteArray& data)
{
    if (!data.startsWith(magic))
        return std::nullopt;
    QDataStream in(data.sliced(magic.size()));
    in.setVersion(QDataStream::Qt_6_0);
    quint16 version = 0;
    Record r;
    in >> version;
    if (in.status() != QDataStream::Ok || version != formatVersion)
        return std::nullopt;
    in >> r.path >> r.identity.device >> r.identity.inode >> r.identity.size >> r.identity.mtimeNs;
    // A NUL inside the path would cut it short at the file system, which would then name a
    // different file from the one handed back.
    if (in.status() != QDataStream::Ok || !in.atEnd() || !r.path.startsWith('/') || r.path.contains('\0'))
        return std::nullopt;
    return r;
}

QByteArray joined(const QByteArray& folder, const char* name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

QByteArray parentOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

// Looks for the file with a given identity by reading folders, with a cap on the entries read so
// that a huge tree costs a bounded time. Inode numbers are reused once a file is deleted, so a
// candidate must also keep its size and modification time, which a rename or move leaves as they
// were.
class MovedFileSearch {
public:
    explicit MovedFileSearch(const FileIdentity& wanted) : m_wanted(wanted) {}

    // The folder's own entries; its subfolders are appended to *subfolders when that is not null.
    QByteArray scanFolder(const QByteArray& folder, int& budget, std::vector<QByteArray>* subfolders) const
    {
        DIR* dir = ::opendir(folder.constData());
        if (!dir)
            return {};
        QByteArray found;
        while (budget > 0 && found.isEmpty()) {
            const dirent* entry = ::readdir(dir);
            if (!entry)
                break;
            const char* name = entry->d_name;
            if (qstrcmp(name, ".") == 0 || qstrcmp(name, "..") == 0)
                continue;
            --budget;
            const QByteArray path = joined(folder, name);
            if (isFolder(entry, path)) {
                if (subfolders && name[0] != '.') // no trash or settings folders
                    subfolders->push_back(path);
            } else if (matches(path)) {
                found = path;
            }
        }
        ::closedir(dir);
        return found;
    }

    // Breadth first, so that the files nearest the root are seen before the cap is reached.
    QByteArray scanTree(const QByteArray& root) const
    {
        int budget = FileBookmark::searchEntryLimit;
        std::deque<QByteArray> pending{root};
        while (!pending.empty() && budget > 0) {
            std::vector<QByteArray> subfolders;
            const QByteArray found = scanFolder(pending.front(), budget, &subfolders);
            if (!found.isEmpty())
                return found;
            pending.pop_front();
            pending.insert(pending.end(), subfolders.begin(), subfolders.end());
        }
        return {};
    }

private:
    // By stat rather than the entry's d_ino, which overlay file systems need not keep equal to
    // st_ino.
    bool matches(const QByteArray& path) const
    {
        const auto id = regularFileIdentity(path);
        return id && sameInode(*id, m_wanted) && id->size == m_wanted.size && id->mtimeNs == m_wanted.mtimeNs;
    }

    static bool isFolder(const dirent* entry, const QByteArray& path)
    {
        if (entry->d_type != DT_UNKNOWN)
            return entry->d_type == DT_DIR;
        struct stat st {};
        return ::lstat(path.constData(), &st) == 0 && S_ISDIR(st.st_mode);
    }

    FileIdentity m_wanted;
};

// The old folder, then its parent and the parent's direct subfolders (a move to a sibling folder,
// or a renamed folder), then the library folders.
QByteArray findMovedFile(const Record& r, const QStringList& searchFolders)
{
    const MovedFileSearch search(r.identity);
    const QByteArray oldFolder = parentOf(r.path);
    int budget = FileBookmark::searchEntryLimit;
    QByteArray found = search.scanFolder(oldFolder, budget, nullptr);
    if (!found.isEmpty())
        return found;

    if (oldFolder != "/") {
        budget = FileBookmark::searchEntryLimit;
        std::vector<QByteArray> siblings;
        found = search.scanFolder(parentOf(oldFolder), budget, &siblings);
        for (const QByteArray& sibling : siblings) {
            if (!found.isEmpty() || budget <= 0)
                break;
            if (sibling != oldFolder)
                found = search.scanFolder(sibling, budget, nullptr);
        }
        if (!found.isEmpty())
            return found;
    }

    for (const QString& folder : searchFolders) {
        if (folder.isEmpty())
            continue;
        found = search.scanTree(QFile::encodeName(QDir::cleanPath(QFileInfo(folder).absoluteFilePath())));
        if (!found.isEmpty())
            return found;
    }
    return {};
}

QMutex& searchFoldersMutex()
{
    static QMutex mutex;
    return mutex;
}

QStringList& searchFolderList()
{
    static QStringList folders;
    return folders;
}

} // namespace

QByteArray FileBookmark::bookmarkDataFromURL(const QUrl& url)
{
    if (!url.isLocalFile())
        return {};
    const QString localPath = url.toLocalFile();
    if (localPath.isEmpty())
        return {};
    const QByteArray path = QFile::encodeName(QDir::cleanPath(QFileInfo(localPath).absoluteFilePath()));
    const auto identity = regularFileIdentity(path);
    if (!identity)
        return {};
    return encode(Record{path, *identity});
}

QUrl FileBookmark::URLByResolvingBookmarkData(const QByteArray& data, bool* isStale, QString* error)
{
    if (isStale)
        *isStale = false;
    if (error)
        error->clear();
    const auto record = decode(data);
    if (!record) {
        if (error)
            *error = QStringLiteral("bookmark data is not valid");
        return {};
    }

    QByteArray path = record->path;
    bool stale = false;
    if (const auto there = regularFileIdentity(path)) {
        stale = !sameInode(*there, record->identity); // replaced, e.g. saved by rename
    } else {
        path = findMovedFile(*record, searchFolders());
        stale = true;
    }
    if (path.isEmpty()) {
        if (error)
            *error = QStringLiteral("file not found: ") + QFile::decodeName(record->path);
        return {};
    }
    if (isStale)
        *isStale = stale;
    return QUrl::fromLocalFile(QFile::decodeName(path));
}

void FileBookmark::setSearchFolders(const QStringList& folders)
{
    QMutexLocker lock(&searchFoldersMutex());
    searchFolderList() = folders;
}

QStringList FileBookmark::searchFolders()
{
    QMutexLocker lock(&searchFoldersMutex());
    return searchFolderList();
}
