#include "TestEnvironment.h"

#include "base/AnswerCache.h"

#include <QProcess>

TestEnvironment::TestEnvironment()
{
    qputenv("HOME", m_home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", m_config.path().toUtf8());
    // The subtitle cache lives under HOME then, never in the person's own cache.
    qunsetenv("XDG_CACHE_HOME");
    // So is everything kept in the data folder (the remembered corrections).
    qunsetenv("XDG_DATA_HOME");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

QString TestEnvironment::mediaFolder()
{
    return qEnvironmentVariable("KINOVELA_TEST_MEDIA");
}

QString TestEnvironment::media(const QString &name)
{
    const QString path = mediaFolder() + QLatin1Char('/') + name;
    if (mediaFolder().isEmpty() || !QFile::exists(path))
        qWarning("generated test media missing: %s (is KINOVELA_TEST_MEDIA set?)", qUtf8Printable(path));
    return path;
}

void TestEnvironment::forgetLookups()
{
    AnswerCache(QStringLiteral("tmdb")).clear();
    AnswerCache(QStringLiteral("store")).clear();
}

QByteArray TestEnvironment::contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool TestEnvironment::write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

QByteArray TestEnvironment::decoderComplaints(const QString &path)
{
    QProcess ffmpeg;
    ffmpeg.setProcessChannelMode(QProcess::MergedChannels);
    ffmpeg.start(QStringLiteral("ffmpeg"), {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                                            QStringLiteral("-i"), path, QStringLiteral("-f"), QStringLiteral("null"),
                                            QStringLiteral("-")});
    ffmpeg.waitForFinished(120000);
    const QByteArray said = ffmpeg.readAll();
    return ffmpeg.exitCode() == 0 ? said : said + "(exit status " + QByteArray::number(ffmpeg.exitCode()) + ")";
}
