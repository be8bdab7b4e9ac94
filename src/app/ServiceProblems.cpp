#include "app/ServiceProblems.h"

#include <QRegularExpression>
#include <QUrl>

ServiceProblems &ServiceProblems::instance()
{
    static ServiceProblems reporter;
    return reporter;
}

QString ServiceProblems::describe(const QString &service, const QString &serviceUrl, const Error &error)
{
    const QString host = QUrl(serviceUrl).host().isEmpty() ? serviceUrl : QUrl(serviceUrl).host();
    switch (error.kind) {
    case ErrorKind::Network:
        return QStringLiteral("Can't reach %1 (%2). Check the internet connection.").arg(host, error.text);
    case ErrorKind::TimedOut:
        return QStringLiteral("%1 did not answer in time. Check the internet connection.").arg(host);
    case ErrorKind::Refused: {
        static const QRegularExpression statusPattern(QStringLiteral("(\\d{3})\\.?$"));
        const int status = statusPattern.match(error.text).captured(1).toInt();
        if (status == 401)
            return QStringLiteral("%1 refused the API key.").arg(service);
        if (status == 429)
            return QStringLiteral("%1 is busy and asked Kinovela to wait; try again in a minute.").arg(service);
        if (status >= 500)
            return QStringLiteral("%1 has a problem of its own (status %2); try again later.").arg(service).arg(status);
        return QStringLiteral("%1 refused the request (status %2).").arg(service).arg(status);
    }
    case ErrorKind::Invalid:
        return QStringLiteral("%1 gave an answer Kinovela can't read (%2).").arg(service, error.text);
    default:
        return {};
    }
}

void ServiceProblems::reportSentence(const QString &message)
{
    if (!message.isEmpty())
        Q_EMIT problem(message);
}

void ServiceProblems::report(const QString &service, const QString &serviceUrl, const Error &error)
{
    const QString message = describe(service, serviceUrl, error);
    if (!message.isEmpty())
        Q_EMIT problem(message);
}
