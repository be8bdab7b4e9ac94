#pragma once

#include <QString>
#include <QStringList>

/**
 * Text and time helpers shared by the probe, the import and the converter
 * runner. Pure apart from the diagnostic line of an invalid pattern; safe
 * from any thread.
 */
class Utils
{
public:
    Utils() = delete;

    /** Every non-overlapping whole match, left to right; "invalid regex: ..." and nothing for a bad pattern. */
    static QStringList getMatchesForRegex(const QString &pattern, const QString &text);
    /** "HH:MM:SS.cc" to seconds; the fraction is always read as hundredths. Never fails. */
    static double getSecondsFromTimeString(const QString &time);
    /** Clock form, such as 01:30:23.46: whole seconds truncated, fraction rounded. */
    static QString getTimeStringFromSeconds(double seconds);
    /** Spoken form, such as "1 Hr 30 Min" or "2 Hrs 15 Min"; seconds are never shown. */
    static QString getBeautifiedDurationFromSeconds(double seconds);
};
