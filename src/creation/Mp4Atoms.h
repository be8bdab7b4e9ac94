#pragma once

#include "base/Outcome.h"

#include <QByteArray>
#include <QList>
#include <QtGlobal>

class QIODevice;

/** The MP4 atom names this tool reads or writes, and the one reader of atom headers. */
namespace Mp4Atom {

inline constexpr char FileType[] = "ftyp";
inline constexpr char Movie[] = "moov";
inline constexpr char MediaData[] = "mdat";
inline constexpr char Free[] = "free";
inline constexpr char Skip[] = "skip";
inline constexpr char UserData[] = "udta";
inline constexpr char Metadata[] = "meta";
inline constexpr char ItemList[] = "ilst";
inline constexpr char Handler[] = "hdlr";
inline constexpr char Track[] = "trak";
inline constexpr char Media[] = "mdia";

// Handler types of tracks (inside "hdlr").
inline constexpr char VideoHandler[] = "vide";
inline constexpr char SoundHandler[] = "soun";

/** One atom's header: where it is and how long it is. */
struct Header
{
    QByteArray type;          ///< four characters
    qint64 offset = 0;        ///< of the size field
    qint64 size = 0;          ///< whole atom, header included
    int headerSize = 8;       ///< 8, or 16 with a 64-bit size
    bool toEndOfFile = false; ///< size field 0: the atom runs to the end of its range

    qint64 bodyBegin() const { return offset + headerSize; }
    qint64 end() const { return offset + size; }
};

/** Whether an atom type must be printable (the file's own top level) or may be anything. */
enum class Names { Any, Printable };

/**
 * Reads the header of the atom at @p offset of a range that ends at @p end:
 * a 32-bit size, a 64-bit size (size field 1) or "to the end" (size field
 * 0). The atom must lie wholly inside the range.
 */
Outcome<Header> readHeader(QIODevice &device, qint64 offset, qint64 end, Names names = Names::Any);
Outcome<Header> readHeader(const QByteArray &bytes, qint64 offset, qint64 end, Names names = Names::Any);

/** The atoms laid one after the other that fill [begin, end) exactly. */
Outcome<QList<Header>> readAll(QIODevice &device, qint64 begin, qint64 end, Names names = Names::Any);
Outcome<QList<Header>> readAll(const QByteArray &bytes, qint64 begin, qint64 end);
/** The atoms inside @p parent, which was read from @p bytes. */
Outcome<QList<Header>> childrenOf(const QByteArray &bytes, const Header &parent);

/** The first atom of @p type, or null. */
const Header *find(const QList<Header> &atoms, const char *type);

/** An atom of @p type around @p body, with a 64-bit size when it needs one. */
QByteArray make(const char *type, const QByteArray &body);

} // namespace Mp4Atom
