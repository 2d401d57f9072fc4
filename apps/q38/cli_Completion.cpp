// The bash completion script, written from the command line's own
// definition: the commands, their options and what may follow each option.

#include "cli_Commands.h"

#include <sstream>

namespace cli {

namespace {

// A word list as a bash $'...' string, one word a line.
std::string bashWords(const std::vector<std::string>& inWords)
{
    std::string text = "$'";
    for (const std::string& word : inWords) {
        if (text.size() > 2)
            text += "\\n";
        for (const char c : word)
            text += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return text + "'";
}

std::vector<std::string> namesOf(const CLI::Option& inOption)
{
    std::vector<std::string> names;
    for (const std::string& name : inOption.get_snames())
        names.push_back("-" + name);
    for (const std::string& name : inOption.get_lnames())
        names.push_back("--" + name);
    return names;
}

} // namespace

std::string bashCompletion(const CLI::App& inApp, const CommandContext& inContext)
{
    std::ostringstream script;
    script << R"(# bash completion for q38, written by "q38 completion bash".
# Load it with: source <(q38 completion bash)

# Offers the words of $1 (one a line) that begin with the current word, and
# with $2 = 1 also file names.
_q38_offer()
{
    local IFS=$'\n' word quoted
    COMPREPLY=()
    for word in $1; do
        if (( $2 )); then quoted=$word; else quoted=$(printf '%q' "$word"); fi
        [[ $quoted == "$cur"* ]] && COMPREPLY+=("$quoted")
    done
    if (( $2 )); then
        compopt -o filenames 2>/dev/null
        COMPREPLY+=($(compgen -f -- "$cur"))
    fi
}

_q38()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} words=''
    if (( COMP_CWORD == 1 )); then
)";
    std::vector<std::string> commands;
    for (const CLI::App* command : inApp.get_subcommands([](const CLI::App*) { return true; }))
        commands.push_back(command->get_name());
    commands.insert(commands.end(), {"--help", "--version"});
    script << "        _q38_offer " << bashWords(commands) << " 0\n"
           << "        return\n    fi\n    case ${COMP_WORDS[1]} in\n";

    for (const CLI::App* command : inApp.get_subcommands([](const CLI::App*) { return true; })) {
        const std::string name = command->get_name();
        std::vector<std::string> options;
        std::ostringstream afterOption;
        bool positionalFiles = false;
        std::vector<std::string> positionalWords;
        for (const CLI::Option* option : command->get_options()) {
            const auto completion = inContext.mCompletions.find(name + " " + optionName(*option));
            if (option->get_positional()) {
                if (completion != inContext.mCompletions.end()) {
                    positionalWords = completion->second.mWords;
                    positionalFiles = completion->second.mFiles;
                }
                continue;
            }
            const std::vector<std::string> names = namesOf(*option);
            options.insert(options.end(), names.begin(), names.end());
            if (option->get_expected_max() == 0)
                continue; // a flag
            std::string pattern;
            for (const std::string& word : names)
                pattern += (pattern.empty() ? "" : "|") + word;
            afterOption << "        " << pattern << ") ";
            if (inContext.mOptionalValues.contains(name + " " + optionName(*option))) {
                // The value may be left out: its words join the usual offer.
                afterOption << "words="
                            << bashWords(completion == inContext.mCompletions.end() ? std::vector<std::string>()
                                                                                   : completion->second.mWords)
                            << " ;;\n";
            } else if (completion != inContext.mCompletions.end()) {
                afterOption << "_q38_offer " << bashWords(completion->second.mWords) << " "
                            << (completion->second.mFiles ? 1 : 0) << "; return ;;\n";
            } else {
                afterOption << "return ;; # a value to type\n";
            }
        }
        script << "    " << name << ")\n        case $prev in\n"
               << afterOption.str() << "        esac\n"
               << "        if [[ $cur == -* ]]; then _q38_offer " << bashWords(options) << " 0; return; fi\n";
        script << "        _q38_offer \"$words\"$'\\n'" << bashWords(positionalWords) << " " << (positionalFiles ? 1 : 0)
               << "\n        ;;\n";
    }
    script << "    esac\n}\ncomplete -F _q38 q38\n";
    return script.str();
}

} // namespace cli
