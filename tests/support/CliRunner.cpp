#include "support/CliRunner.h"

#include "support/TestEnvironment.h"

#include <QFile>

QList<QByteArray> CliRunner::Run::errLines() const
{
    QList<QByteArray> lines = err.split('\n');
    lines.removeAll(QByteArray());
    return lines;
}

CliRunner::~CliRunner()
{
    if (m_standin.state() != QProcess::NotRunning) {
        m_standin.kill();
        m_standin.waitForFinished();
    }
}

bool CliRunner::start()
{
    m_standin.start(qEnvironmentVariable("KINOVELA_BUILD_DIR") + QStringLiteral("/tests/kinovela-standin"));
    if (!m_standin.waitForStarted())
        return false;
    QByteArray lines;
    while (!lines.contains("\n\n") && m_standin.waitForReadyRead(10000))
        lines += m_standin.readAllStandardOutput();
    for (const QByteArray &line : lines.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals > 0)
            m_environment.insert(QString::fromUtf8(line.left(equals)), QString::fromUtf8(line.mid(equals + 1)));
    }
    return m_environment.contains(QStringLiteral("KINOVELA_TMDB_API_URL"));
}

CliRunner::Run CliRunner::run(const QStringList &arguments, const QProcessEnvironment &extra) const
{
    QProcessEnvironment environment = m_environment;
    environment.insert(extra);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(m_files.path());
    process.start(qEnvironmentVariable("KINOVELA_CLI"), arguments);
    process.waitForFinished(180000);
    return {process.exitCode(), process.exitStatus() == QProcess::CrashExit, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

QString CliRunner::copy(const QString &media, const QString &name) const
{
    const QString path = m_files.filePath(name);
    QFile::remove(path);
    QFile::copy(TestEnvironment::media(media), path);
    return name;
}

QString CliRunner::docsFolder()
{
    return qEnvironmentVariable("KINOVELA_BUILD_DIR") + QStringLiteral("/docs");
}
