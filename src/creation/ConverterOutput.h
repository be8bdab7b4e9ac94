#pragma once

#include <QByteArray>
#include <QStringList>

/**
 * Turns the converter's output, as it arrives in reads of any size, into
 * whole lines: "\r" (which ends each progress line) and "\n" both end a
 * line, the unfinished rest waits for the next read, and empty lines are
 * dropped. Lines are cut on bytes before they are decoded, so a character
 * split between two reads arrives whole.
 */
class ConverterOutput
{
public:
    /** The lines that @p bytes complete. */
    QStringList feed(const QByteArray &bytes);
    /** The unfinished rest as a last line, when the converter has ended. */
    QStringList finish();

private:
    QByteArray m_rest;
};
