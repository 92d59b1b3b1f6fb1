#include "platform/RecentDocuments.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <limits>
#include <memory>
#include <vector>

namespace {

// The file is kept as a plain tree with prefixed names, so that elements and namespaces of other
// applications go back out as they came in.
struct Node {
    QString name; // qualified name; empty for text
    QXmlStreamAttributes attributes;
    QString text;
    std::vector<Node> children;

    Node* child(const QString& childName)
    {
        for (Node& c : children)
            if (c.name == childName)
                return &c;
        return nullptr;
    }
    Node& childOrNew(const QString& childName)
    {
        if (Node* c = child(childName))
            return *c;
        children.push_back(Node{childName, {}, {}, {}});
        return children.back();
    }
    QString attribute(const QString& key) const { return attributes.value(key).toString(); }
    void setAttribute(const QString& key, const QString& value)
    {
        QXmlStreamAttributes kept;
        for (const QXmlStreamAttribute& a : attributes)
            if (a.qualifiedName() != key)
                kept.append(a);
        kept.append(key, value);
        attributes = kept;
    }
};

const QString kBookmarkNs = QStringLiteral("http://www.freedesktop.org/standards/desktop-bookmarks");
const QString kMimeNs = QStringLiteral("http://www.freedesktop.org/standards/shared-mime-info");

Node emptyDocument()
{
    Node root{QStringLiteral("xbel"), {}, {}, {}};
    root.attributes.append(QStringLiteral("version"), QStringLiteral("1.0"));
    root.attributes.append(QStringLiteral("xmlns:bookmark"), kBookmarkNs);
    root.attributes.append(QStringLiteral("xmlns:mime"), kMimeNs);
    return root;
}

bool parse(const QByteArray& data, Node& root)
{
    QXmlStreamReader reader(data);
    reader.setNamespaceProcessing(false);
    std::vector<Node*> stack;
    bool seenRoot = false;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            Node node{reader.qualifiedName().toString(), reader.attributes(), {}, {}};
            if (stack.empty()) {
                if (seenRoot || node.name != QLatin1String("xbel"))
                    return false;
                seenRoot = true;
                root = std::move(node);
                stack.push_back(&root);
            } else {
                stack.back()->children.push_back(std::move(node));
                stack.push_back(&stack.back()->children.back());
            }
        } else if (reader.isEndElement()) {
            stack.pop_back();
        } else if ((reader.isCharacters() && !reader.isWhitespace()) && !stack.empty()) {
            stack.back()->children.push_back(Node{{}, {}, reader.text().toString(), {}});
        }
    }
    return !reader.hasError() && seenRoot;
}

void write(QXmlStreamWriter& writer, const Node& node)
{
    if (node.name.isEmpty()) {
        writer.writeCharacters(node.text);
        return;
    }
    writer.writeStartElement(node.name);
    writer.writeAttributes(node.attributes);
    for (const Node& c : node.children)
        write(writer, c);
    writer.writeEndElement();
}

QString stamp(const QDateTime& when)
{
    return when.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz000Z"));
}

// How the desktop's list names us and starts us again with a file.
QString applicationName()
{
    return QStringLiteral("Lento");
}

void touchApplication(Node& bookmark, const QString& mimeType, const QString& when)
{
    Node& metadata = bookmark.childOrNew(QStringLiteral("info")).childOrNew(QStringLiteral("metadata"));
    if (metadata.attribute(QStringLiteral("owner")).isEmpty())
        metadata.setAttribute(QStringLiteral("owner"), QStringLiteral("http://freedesktop.org"));
    Node& mime = metadata.childOrNew(QStringLiteral("mime:mime-type"));
    if (mime.attribute(QStringLiteral("type")).isEmpty())
        mime.setAttribute(QStringLiteral("type"), mimeType);
    Node& applications = metadata.childOrNew(QStringLiteral("bookmark:applications"));
    for (Node& app : applications.children) {
        if (app.name == QLatin1String("bookmark:application")
            && app.attribute(QStringLiteral("name")) == applicationName()) {
            app.setAttribute(QStringLiteral("modified"), when);
            // Another program may have left any number there: the top of the range stays the top.
            const int count = app.attribute(QStringLiteral("count")).toInt();
            app.setAttribute(QStringLiteral("count"),
                             QString::number(count < std::numeric_limits<int>::max() ? count + 1 : count));
            return;
        }
    }
    Node app{QStringLiteral("bookmark:application"), {}, {}, {}};
    app.attributes.append(QStringLiteral("name"), applicationName());
    app.attributes.append(QStringLiteral("exec"), QStringLiteral("'lento %u'"));
    app.attributes.append(QStringLiteral("modified"), when);
    app.attributes.append(QStringLiteral("count"), QStringLiteral("1"));
    applications.children.push_back(std::move(app));
}

} // namespace

RecentDocuments::RecentDocuments(QString xbelPath)
    : m_xbelPath(xbelPath.isEmpty() ? defaultXbelPath() : std::move(xbelPath))
{
}

QString RecentDocuments::defaultXbelPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/recently-used.xbel");
}

bool RecentDocuments::noteNewRecentDocumentURL(const QUrl& url, const QString& mimeType,
                                               const QDateTime& when) const
{
    if (!url.isLocalFile())
        return false;
    Node root = emptyDocument();
    QFile existing(m_xbelPath);
    if (existing.exists()) {
        if (!existing.open(QIODevice::ReadOnly) || !parse(existing.readAll(), root))
            return false; // somebody else's file we can not read is not ours to replace
    }

    const QString href = url.toString(QUrl::FullyEncoded);
    const QString now = stamp(when);
    Node* bookmark = nullptr;
    for (Node& c : root.children)
        if (c.name == QLatin1String("bookmark") && c.attribute(QStringLiteral("href")) == href)
            bookmark = &c;
    if (!bookmark) {
        root.children.push_back(Node{QStringLiteral("bookmark"), {}, {}, {}});
        bookmark = &root.children.back();
        bookmark->setAttribute(QStringLiteral("href"), href);
        bookmark->setAttribute(QStringLiteral("added"), now);
    }
    bookmark->setAttribute(QStringLiteral("modified"), now);
    bookmark->setAttribute(QStringLiteral("visited"), now);
    touchApplication(*bookmark, mimeType, now);

    QDir().mkpath(QFileInfo(m_xbelPath).absolutePath());
    QSaveFile file(m_xbelPath);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QXmlStreamWriter writer(&file);
    writer.setAutoFormatting(true);
    writer.setAutoFormattingIndent(2);
    writer.writeStartDocument();
    write(writer, root);
    writer.writeEndDocument();
    return !writer.hasError() && file.commit();
}

QStringList RecentDocuments::recentURLs() const
{
    QFile file(m_xbelPath);
    Node root;
    if (!file.open(QIODevice::ReadOnly) || !parse(file.readAll(), root))
        return {};
    QStringList urls;
    for (const Node& c : root.children)
        if (c.name == QLatin1String("bookmark"))
            urls << c.attribute(QStringLiteral("href"));
    return urls;
}

QStringList RecentDocuments::updatedList(const QStringList& list, const QString& path)
{
    QStringList updated{path};
    for (const QString& entry : list)
        if (entry != path)
            updated << entry;
    updated = existingOnly(updated);
    while (updated.size() > kMaximumCount)
        updated.removeLast();
    return updated;
}

QStringList RecentDocuments::existingOnly(const QStringList& list)
{
    QStringList kept;
    for (const QString& entry : list)
        if (QFileInfo(entry).isFile())
            kept << entry;
    return kept;
}
