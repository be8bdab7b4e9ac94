#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

/**
 * Runs kinovela-cli from outside, as a user would, in a temporary working
 * folder; start() first launches kinovela-standin and points the tool at it.
 */
class CliRunner
{
public:
    struct Run
    {
        int exitCode = -1;
        bool crashed = false; ///< killed, or ended by a signal
        QByteArray out;
        QByteArray err;

        /** The lines of standard error, without empty ones. */
        QList<QByteArray> errLines() const;
    };

    ~CliRunner();

    /** Starts the stand-in services; false when they did not start. */
    bool start();

    Run run(const QStringList &arguments, const QProcessEnvironment &extra = {}) const;
    /** Copies a generated media file into the working folder under `name`; returns `name`. */
    QString copy(const QString &media, const QString &name) const;

    QString folder() const { return m_files.path(); }
    QString filePath(const QString &name) const { return m_files.filePath(name); }
    const QProcessEnvironment &environment() const { return m_environment; }

    /** build/docs: the manual pages and the completion written at build time. */
    static QString docsFolder();

private:
    QProcess m_standin;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
    QTemporaryDir m_files;
};
