#include "support/CliRunner.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QRegularExpression>

/**
 * The help of every command, the manual pages and the bash completion, read
 * from outside: they exist, say what they must, and agree with each other.
 */
class TestCliDocs : public QObject
{
    Q_OBJECT

private:
    CliRunner m_cli;

    static QString s(const char *text) { return QString::fromUtf8(text); }

    static QByteArray readDoc(const char *name)
    {
        QFile file(CliRunner::docsFolder() + QLatin1Char('/') + QLatin1String(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // The long option names a command's help lists ("  --dest DIR   ...", "  -v, --verbose  ...").
    static QStringList optionsIn(const QByteArray &help)
    {
        static const QRegularExpression option(QStringLiteral("^  (?:-\\w, )?(--[a-z-]+)"), QRegularExpression::MultilineOption);
        QStringList names;
        for (const QRegularExpressionMatch &match : option.globalMatch(QString::fromUtf8(help)))
            names.append(match.captured(1));
        return names;
    }

    // What bash completes for the words, the last being the word under the cursor.
    QStringList complete(const QStringList &words) const
    {
        QProcess bash;
        bash.setWorkingDirectory(m_cli.folder());
        bash.start(s("bash"), QStringList{s("-c"),
                                          s("source \"$1\"; shift; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
                                            "_kinovela_cli; printf '%s\\n' \"${COMPREPLY[@]}\""),
                                          s("bash"), CliRunner::docsFolder() + s("/kinovela-cli")}
                                  + words);
        bash.waitForFinished(30000);
        QStringList reply = QString::fromUtf8(bash.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        reply.sort();
        return reply;
    }

private Q_SLOTS:
    void commandHelp_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("presets");
        for (const char *name : {"probe", "hash", "identify", "search", "import", "create", "help"})
            QTest::newRow(name) << s(name) << (qstrcmp(name, "import") == 0 || qstrcmp(name, "create") == 0);
    }

    void commandHelp()
    {
        QFETCH(QString, command);
        QFETCH(bool, presets);
        const CliRunner::Run help = m_cli.run({s("help"), command});
        QCOMPARE(help.exitCode, 0);
        QCOMPARE(help.err, QByteArray());
        // The same text three ways.
        QCOMPARE(m_cli.run({command, s("--help")}).out, help.out);
        QCOMPARE(m_cli.run({s("-h"), command}).out, help.out);

        QVERIFY(help.out.startsWith(QByteArray("Usage: kinovela-cli " + command.toUtf8())));
        QVERIFY(help.out.contains("Exit status:\n  0  everything asked for was done."));
        for (const char *section : {"Options of every command:", "Environment:", "KINOVELA_FFMPEG", "Exit status:",
                                    "Example:\n  kinovela-cli "})
            QVERIFY2(help.out.contains(section), section);
        QCOMPARE(help.out.contains("Presets:\n  1  Tag in place: "), presets);
        QCOMPARE(help.out.contains("only after the new movie is checked against it"), presets);
        QVERIFY(optionsIn(help.out).contains(s("--log")));
        for (const QByteArray &line : help.out.split('\n'))
            QVERIFY2(line.size() <= 79, line.constData());
    }

    void overviewIsShort()
    {
        const CliRunner::Run help = m_cli.run({s("--help")});
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.out.count('\n') < 40);
        QVERIFY(help.out.contains("tagged MP4 files"));
        QCOMPARE(m_cli.run({s("help")}).out, help.out);
        QCOMPARE(m_cli.run({s("help"), s("frobnicate")}).exitCode, 2);
    }

    void manualPagesAgreeWithHelp()
    {
        const QByteArray page = readDoc("kinovela-cli.1");
        QVERIFY(page.startsWith(".TH KINOVELA-CLI 1 "));
        for (const char *section : {".SH SYNOPSIS", ".SH COMMANDS", ".SH PRESETS", ".SH ENVIRONMENT", ".SH EXIT STATUS",
                                    ".SH EXAMPLES"})
            QVERIFY2(page.contains(section), section);
        for (const char *command : {"probe", "hash", "identify", "search", "import", "create", "help"}) {
            const QByteArray help = m_cli.run({s("help"), s(command)}).out;
            const QByteArray synopsis = help.mid(7, help.indexOf("\n\n") - 7).simplified().replace("-", "\\-");
            QVERIFY2(page.contains(QByteArray(".SS \"" + synopsis + "\"")), synopsis.constData());
            for (const QString &option : optionsIn(help))
                QVERIFY2(page.contains(option.toUtf8().replace("-", "\\-")), qPrintable(option));
        }
        const QByteArray window = readDoc("kinovela.1");
        QVERIFY(window.startsWith(".TH KINOVELA 1 "));
        QVERIFY(window.contains(".SH PRESETS"));

        QProcess groff;
        groff.start(s("groff"), {s("-man"), s("-Tutf8"), s("-ww"), s("-z"), CliRunner::docsFolder() + s("/kinovela-cli.1"),
                                  CliRunner::docsFolder() + s("/kinovela.1")});
        if (!groff.waitForFinished(30000) || groff.exitStatus() != QProcess::NormalExit)
            QSKIP("groff is not installed; the pages were not rendered");
        QCOMPARE(groff.readAllStandardError(), QByteArray());
    }

    void completion_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QStringList>("expected");
        QDir(m_cli.folder()).mkpath(s("movies"));
        m_cli.copy(s("text.txt"), s("movie.mkv"));

        QTest::newRow("command") << QStringList{s("kinovela-cli"), s("cre")} << QStringList{s("create")};
        QTest::newRow("after a global option") << QStringList{s("kinovela-cli"), s("-v"), s("i")}
                                               << QStringList{s("identify"), s("import")};
        QTest::newRow("help COMMAND") << QStringList{s("kinovela-cli"), s("help"), s("se")} << QStringList{s("search")};
        QTest::newRow("option") << QStringList{s("kinovela-cli"), s("create"), s("--pre")} << QStringList{s("--preset")};
        QTest::newRow("preset") << QStringList{s("kinovela-cli"), s("create"), s("--preset"), QString()}
                                << QStringList{s("1"), s("2"), s("3"), s("4")};
        QTest::newRow("language code") << QStringList{s("kinovela-cli"), s("import"), s("--language"), s("fre")}
                                       << QStringList{s("fre")};
        QTest::newRow("language name") << QStringList{s("kinovela-cli"), s("search"), s("--language"), s("Fren")}
                                       << QStringList{s("French")};
        QTest::newRow("dest: folders") << QStringList{s("kinovela-cli"), s("create"), s("--dest"), s("mov")}
                                       << QStringList{s("movies")};
        QTest::newRow("files") << QStringList{s("kinovela-cli"), s("create"), s("--dest"), s("movies"), s("mov")}
                               << QStringList{s("movie.mkv"), s("movies")};
        QTest::newRow("log file") << QStringList{s("kinovela-cli"), s("--log"), s("movie.")} << QStringList{s("movie.mkv")};
        QTest::newRow("no value for --stagger") << QStringList{s("kinovela-cli"), s("import"), s("--stagger"), QString()}
                                                << QStringList{};
    }

    void completion()
    {
        QFETCH(QStringList, words);
        QFETCH(QStringList, expected);
        QCOMPARE(complete(words), expected);
    }

    void completionOffersEveryOptionOfTheHelp()
    {
        for (const char *command : {"probe", "hash", "identify", "search", "import", "create"}) {
            const QStringList offered = complete({s("kinovela-cli"), s(command), s("--")});
            for (const QString &option : optionsIn(m_cli.run({s("help"), s(command)}).out))
                QVERIFY2(offered.contains(option), qPrintable(s(command) + QLatin1Char(' ') + option));
        }
    }
};

KINOVELA_TEST_MAIN(TestCliDocs)
#include "tst_clidocs.moc"
