#pragma once

#include "subtitles/SubtitleCredentials.h"

#include <QDateTime>
#include <QString>

#include <optional>

class Json;

/**
 * The REST service's download allowance, as its last download answer gave
 * it ("remaining", "reset_time_utc"). Every download answer, a refused one
 * too, is recorded; the last record is kept in the cache folder so that the
 * next run, the settings sheet and the subtitle window can read it.
 */
struct SubtitleQuota
{
    int remaining = 0;
    QDateTime resetTimeUtc;

    /** The allowance in an answer body; nothing when the body names neither member. */
    static std::optional<SubtitleQuota> fromAnswer(const Json &body);
    /** The last recorded allowance, while its reset time has not passed. */
    static std::optional<SubtitleQuota> current();
    static void record(const SubtitleQuota &quota);
    /** Forgets the recorded allowance. */
    static void forget();

    /** No download is left before the reset time. */
    bool exhausted() const { return remaining <= 0; }
    /** "14:00 UTC" (a date in front when the reset is not within a day). */
    QString resetText() const;
    /** "download limit reached until 14:00 UTC" */
    QString limitText() const;
    /** "17 downloads left until 14:00 UTC" */
    QString remainingText() const;

    /**
     * What the settings sheet and the subtitle window say of the allowance of
     * the chosen service: the downloads left, or when they will be known.
     */
    static QString statusLine(SubtitleCredentials::Provider provider = SubtitleCredentials::provider());
};
