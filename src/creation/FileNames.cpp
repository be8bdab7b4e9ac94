#include "creation/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <sys/vfs.h>

namespace FileNames {

namespace {

const QString Extension = QStringLiteral(".mp4");

constexpr unsigned long MsdosMagic = 0x4d44;
constexpr unsigned long ExfatMagic = 0x2011bab0;
constexpr unsigned long NtfsMagic = 0x5346544e;  // the ntfs driver
constexpr unsigned long Ntfs3Magic = 0x7366746e; // the ntfs3 driver
constexpr unsigned long FuseMagic = 0x65735546;

bool refusedOnWindows(char32_t c)
{
    return c == U'<' || c == U'>' || c == U':' || c == U'"' || c == U'\\' || c == U'|' || c == U'?' || c == U'*';
}

bool isControl(char32_t c)
{
    return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x2028 || c == 0x2029;
}

} // namespace

NameRules rulesFor(const QString &folder)
{
    struct statfs info = {};
    if (::statfs(QFile::encodeName(folder).constData(), &info) != 0)
        return NameRules::Posix;
    const auto type = static_cast<unsigned long>(info.f_type);
    if (type == MsdosMagic || type == ExfatMagic || type == NtfsMagic || type == Ntfs3Magic)
        return NameRules::Windows;
    // ntfs-3g and exfat-fuse mount as "fuseblk"; other FUSE file systems (sshfs...) keep POSIX names.
    if (type == FuseMagic && QStorageInfo(folder).fileSystemType() == "fuseblk")
        return NameRules::Windows;
    return NameRules::Posix;
}

QString cutToBytes(const QString &name, qsizetype bytes)
{
    QString cut;
    qsizetype used = 0;
    for (const char32_t c : name.toUcs4()) {
        const qsizetype size = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
        if (used + size > bytes)
            break;
        used += size;
        cut.append(QString::fromUcs4(&c, 1));
    }
    return cut;
}

QString safeBaseName(const QString &title, NameRules rules)
{
    QString name;
    for (char32_t c : title.toUcs4()) {
        if (isControl(c))
            continue;
        if (c == U'/')
            c = rules == NameRules::Windows ? U'-' : U':';
        else if (rules == NameRules::Windows && refusedOnWindows(c))
            c = c == U':' ? U'-' : U'_';
        name.append(QString::fromUcs4(&c, 1));
    }
    while (!name.isEmpty() && (name.front() == QLatin1Char('.') || name.front().isSpace()))
        name.remove(0, 1);
    name = cutToBytes(name, MaxNameBytes - Extension.size());
    // Windows drops trailing dots and spaces; everywhere they only confuse.
    while (!name.isEmpty() && (name.back() == QLatin1Char('.') || name.back().isSpace()))
        name.chop(1);
    return name;
}

QString movieFileName(const MovieItem &item, NameRules rules)
{
    QString base = safeBaseName(item.value(ItemKey::movieTitle).toString(), rules);
    if (base.isEmpty())
        base = safeBaseName(QFileInfo(item.value(ItemKey::filePath).toString()).completeBaseName(), rules);
    if (base.isEmpty())
        base = QStringLiteral("Movie");
    return base + Extension;
}

QString numbered(const QString &fileName, int n)
{
    QString base = fileName.endsWith(Extension) ? fileName.chopped(Extension.size()) : fileName;
    const QString suffix = QStringLiteral(" (%1)").arg(n) + Extension;
    base = cutToBytes(base, MaxNameBytes - suffix.toUtf8().size());
    return base + suffix;
}

} // namespace FileNames
