#pragma once

#include "base/Outcome.h"

#include <QObject>
#include <QString>

/**
 * Where the lookups report a web service that could not be used at all:
 * unreachable, too slow, or refusing the API key, as opposed to a movie that
 * simply was not found. The window shows these in its message bar (through
 * AppCore::serviceProblem); the diagnostic lines are written as before.
 */
class ServiceProblems : public QObject
{
    Q_OBJECT
public:
    /** The one reporter of the process (main thread). */
    static ServiceProblems &instance();

    /**
     * A sentence a person can act on for a failed request to @p service (a
     * name such as "TMDb") at @p serviceUrl: "TMDb refused the API key",
     * "Can't reach api.themoviedb.org (Connection refused)". Empty for a
     * failure that says nothing about the service as a whole.
     */
    static QString describe(const QString &service, const QString &serviceUrl, const Error &error);

    /** Reports describe()'s sentence, when there is one. */
    void report(const QString &service, const QString &serviceUrl, const Error &error);
    /** Reports a sentence that is already written for a person (a spent download allowance, a missing key). */
    void reportSentence(const QString &message);

Q_SIGNALS:
    void problem(const QString &message);

private:
    using QObject::QObject;
};
