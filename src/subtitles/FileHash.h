#pragma once

#include <QString>

/**
 * The OpenSubtitles movie hash: the file size plus the 64-bit little-endian
 * words of the first and the last 64 KiB, all sums wrapping. Reads at most
 * 128 KiB whatever the file's size.
 */
class FileHash
{
public:
    FileHash() = delete;

    struct VideoHash
    {
        quint64 fileHash = 0;
        quint64 fileSize = 0;
    };

    /** (0, 0) for a file shorter than 64 KiB or one that cannot be read. */
    static VideoHash getVideoHashForPath(const QString &path);
    /** Lower-case hexadecimal without leading zeros ("0" for 0). */
    static QString hashText(quint64 hash);
};
