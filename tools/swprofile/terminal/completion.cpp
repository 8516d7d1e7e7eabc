// The subcommand that prints a script for bash or zsh. Its table comes from the options of all subcommands.
#include "profile/options.h"
#include "subcommands/commands.h"

#include "verd_inst_ldpath_text.h"

#include <cstdio>

namespace
{

// A shell function that prints the words that can follow a subcommand; $1 is its path, such as " service-pack add". The
// words: subcommands, "--option", "--option=KIND" and, for an argument, "=KIND". KIND is a choice such as a|b, FILE,
// SDR or empty.
constexpr char TABLE_START[] = R"(_swprofile_table() {
    case $1 in
)";

constexpr char FUNCTION[] = R"(    esac
}

_swprofile_complete() {
    local word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD-1]} prefix='' subcommand='' kinds=''
    local options='' offered='' entry i
    if [[ $word == --*=* ]]; then
        option=${word%%=*} prefix=${word%%=*}= word=${word#*=}
    elif [[ $word == '=' ]]; then
        word=''
    elif [[ $option == '=' ]]; then
        option=${COMP_WORDS[COMP_CWORD-2]}
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do
        entry=${COMP_WORDS[i]}
        if [[ $entry == [a-z]* && $entry != help && " $(_swprofile_table "$subcommand") " == *" $entry "* ]]; then
            subcommand+=" $entry"
        fi
    done
    for entry in $(_swprofile_table "$subcommand"); do
        case $entry in
        "$option="*) kinds=${entry#*=} options='' offered=''; break ;;
        =*) [[ $word == -* ]] || kinds+=" ${entry#=}" ;;
        -*) options+=" ${entry%%=*}" ;;
        *) offered+=" $entry" ;;
        esac
    done
    case " $kinds " in
    *' FILE '*)
        local IFS=$'\n'
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -P "$prefix" -f -- "$word"))
        return ;;
    *' SDR '*)
        offered=$(command ls -p $SDRS 2>/dev/null |
            sed -n 's|^\([[:alnum:]_+][[:alnum:]._+-]*\)/$|\1|p' | sort -u) ;;
    *)
        offered+=" ${kinds//|/ }"
        [[ $word != -* && $offered == *[a-z]* ]] || offered+=$options ;;
    esac
    COMPREPLY=($(compgen -P "$prefix" -W "$offered" -- "$word"))
}

complete -F _swprofile_complete swprofile
)";

constexpr char ZSH_START[] = R"(#compdef swprofile
autoload -Uz bashcompinit && bashcompinit

)";

// zsh loads the file at the first completion, so the file must also complete that command line.
constexpr char ZSH_END[] = R"([ "${funcstack[1]}" != _swprofile ] || _bash_complete -F _swprofile_complete
)";

// The values of an option or argument: a choice, FILE or SDR; "" for others. "a number" is no word to complete.
std::string kind_of(const CLI::Option &option)
{
    const std::string type = option.get_type_name();
    const bool is_choice = type.find('|') != type.npos;
    const std::string kind = is_choice || !option.get_positional() ? type : option.get_name();
    return is_choice || kind == "FILE" || kind == "SDR" ? kind.substr(0, kind.find("|a number")) : "";
}

void print_entries(const CLI::App &app, const std::string &path)
{
    std::string words;
    for (const CLI::App *const subcommand : app.get_subcommands({})) {
        words += " " + subcommand->get_name();
    }
    for (const CLI::Option *const option : app.get_options({})) {
        for (const std::string &name : option->get_lnames()) {
            words += " --" + name + (option->get_expected_max() == 0 ? "" : "=" + kind_of(*option));
        }
        words += option->get_positional() ? " =" + kind_of(*option) : "";
    }
    std::printf("    '%s') echo '%s' ;;\n", path.c_str(), words.substr(1).c_str());
    for (const CLI::App *const subcommand : app.get_subcommands({})) {
        print_entries(*subcommand, path + " " + subcommand->get_name());
    }
}

void print_script(const CLI::App &command, const std::string &shell)
{
    const bool is_zsh = shell == "zsh";
    std::printf("%s%s", is_zsh ? ZSH_START : "", TABLE_START);
    print_entries(command, "");
    std::string function = FUNCTION;
    const std::string placeholder = "$SDRS";
    function.replace(function.find(placeholder), placeholder.size(),
                     VERD_GLOBAL_DIRECTORY "sdr " VERD_LOCAL_DIRECTORY "sdr");
    std::printf("%s%s", function.c_str(), is_zsh ? ZSH_END : "");
}

} // namespace

void add_completion(CLI::App &command)
{
    const auto [completion, shell] =
        new_subcommand<std::string>(command, "completion", "Print a script that completes command lines in a shell",
                                    [&command](const std::string &name) { print_script(command, name); });
    add_choice_option(completion, "SHELL", shell, "shell", {"bash", "zsh"})->required();
    completion.footer("Examples:\n"
                      "  source <(swprofile completion bash)\n"
                      "  swprofile completion zsh >\"${fpath[1]}/_swprofile\"");
}
