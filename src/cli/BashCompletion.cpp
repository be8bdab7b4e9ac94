#include "cli/BashCompletion.h"

#include "base/LanguageList.h"
#include "cli/CommandTable.h"

#include <QRegularExpression>

namespace BashCompletion {

namespace {

using CommandTable::Completion;

// The kind of word `_kinovela_cli_reply` completes.
QString kind(Completion completion)
{
    switch (completion) {
    case Completion::Files:
        return QStringLiteral("files");
    case Completion::Directories:
        return QStringLiteral("folders");
    case Completion::Presets:
        return QStringLiteral("presets");
    case Completion::Languages:
        return QStringLiteral("languages");
    case Completion::Commands:
        return QStringLiteral("commands");
    case Completion::None:
        break;
    }
    return QStringLiteral("none");
}

QString globalNames()
{
    QStringList names;
    for (const CommandTable::Option &option : CommandTable::globalOptions())
        names += option.names;
    return names.join(QLatin1Char(' '));
}

// case "$prev" in --dest) ...;; esac: the options whose value is completed.
QString valueCases()
{
    QMap<QString, Completion> values;
    QList<CommandTable::Option> all = CommandTable::globalOptions();
    for (const CommandTable::Command &command : CommandTable::commands())
        all += command.options;
    for (const CommandTable::Option &option : all) {
        if (!option.value.isEmpty())
            values.insert(option.longName(), option.completion);
    }
    QString out;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        out += QStringLiteral("        %1) _kinovela_cli_reply %2; return ;;\n").arg(it.key(), kind(it.value()));
    return out;
}

QString commandCases()
{
    QString out;
    for (const CommandTable::Command &command : CommandTable::commands()) {
        QStringList names;
        for (const CommandTable::Option &option : command.options)
            names.append(option.longName());
        out += QStringLiteral("        %1) options=\"%2\" positional=%3 ;;\n")
                   .arg(command.name, names.join(QLatin1Char(' ')), kind(command.positional));
    }
    return out;
}

} // namespace

QStringList languageWords()
{
    static const QRegularExpression oneWord(QStringLiteral("^[A-Za-z]+$"));
    QStringList words;
    const LanguageList list = LanguageList::load();
    for (const QVariant &value : list.entries()) {
        const QVariantMap entry = value.toMap();
        for (const QString &key : {QStringLiteral("alpha2"), QStringLiteral("alpha3-b"), QStringLiteral("English")}) {
            const QString word = entry.value(key).toString();
            if (oneWord.match(word).hasMatch() && !words.contains(word))
                words.append(word);
        }
    }
    return words;
}

QString script(const QStringList &languages)
{
    QStringList commandNames;
    for (const CommandTable::Command &command : CommandTable::commands())
        commandNames.append(command.name);
    QString out = QStringLiteral(
        "# bash completion for kinovela-cli                        -*- shell-script -*-\n"
        "# Made by kinovela-cli from its command table; do not edit.\n\n");
    out += QStringLiteral("_kinovela_cli_commands=\"%1\"\n").arg(commandNames.join(QLatin1Char(' ')));
    out += QStringLiteral("_kinovela_cli_global=\"%1\"\n").arg(globalNames());
    out += QStringLiteral("_kinovela_cli_languages=\"%1\"\n\n").arg(languages.join(QLatin1Char(' ')));
    out += QStringLiteral(
        "# Fills COMPREPLY with the words of one kind that start with $cur.\n"
        "_kinovela_cli_reply()\n"
        "{\n"
        "    local IFS=$'\\n' words=\"\"\n"
        "    case \"$1\" in\n"
        "        files | folders)\n"
        "            [[ $1 == files ]] && COMPREPLY=($(compgen -f -- \"$cur\")) || COMPREPLY=($(compgen -d -- \"$cur\"))\n"
        "            compopt -o filenames 2>/dev/null\n"
        "            return ;;\n"
        "        presets) words=\"1 2 3 4\" ;;\n"
        "        languages) words=\"$_kinovela_cli_languages\" ;;\n"
        "        commands) words=\"$_kinovela_cli_commands\" ;;\n"
        "    esac\n"
        "    IFS=$' \\t\\n'\n"
        "    COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
        "}\n\n"
        "_kinovela_cli()\n"
        "{\n"
        "    local cur=\"${COMP_WORDS[COMP_CWORD]}\" prev=\"\" command=\"\" options=\"\" positional=none i\n"
        "    ((COMP_CWORD > 0)) && prev=\"${COMP_WORDS[COMP_CWORD - 1]}\"\n"
        "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
        "        case \"${COMP_WORDS[i]}\" in\n"
        "            --log) ((i++)) ;;\n"
        "            -*) ;;\n"
        "            *) command=\"${COMP_WORDS[i]}\"; break ;;\n"
        "        esac\n"
        "    done\n"
        "    case \"$prev\" in\n");
    out += valueCases();
    out += QStringLiteral(
        "    esac\n"
        "    if [[ -z $command ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$_kinovela_cli_commands $_kinovela_cli_global --version\" -- \"$cur\"))\n"
        "        return\n"
        "    fi\n"
        "    case \"$command\" in\n");
    out += commandCases();
    out += QStringLiteral(
        "        *) return ;;\n"
        "    esac\n"
        "    if [[ $cur == -* ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$options $_kinovela_cli_global\" -- \"$cur\"))\n"
        "    else\n"
        "        _kinovela_cli_reply \"$positional\"\n"
        "    fi\n"
        "}\n\n"
        "complete -F _kinovela_cli kinovela-cli\n");
    return out;
}

} // namespace BashCompletion
