#include "commands/CompletionScripts.hpp"

// Each asks kestrel for the words and lets the shell do what only it can: names of files with its own quoting, and the
// choice. Words from outside are data to all three: nothing that a file, a process or an application is called is ever
// evaluated, and what is inserted is quoted.

namespace KestrelCLI {

namespace {

constexpr std::string_view bashScript =
    R"shell(# Completion of kestrel for bash 4.4 or later. The words come from kestrel itself.

_kestrel() {
    # Bash parts words at ":" and "=", too. Here they are again as they were typed, up to the cursor.
    local rest=${COMP_LINE:0:COMP_POINT} gap piece index
    local -a words=()
    for ((index = 0; index <= COMP_CWORD; ++index)); do
        gap=${rest%%[^[:space:]]*}
        rest=${rest#"$gap"}
        piece=${COMP_WORDS[index]}
        ((index == COMP_CWORD)) && piece=$rest
        if [[ -n $gap || ${#words[@]} -eq 0 ]]; then
            words+=("$piece")
        else
            words[-1]+=$piece
        fi
        rest=${rest#"$piece"}
    done

    local -a answer=()
    mapfile -t answer < <(command kestrel complete-words -- "${words[@]:1}" 2>/dev/null </dev/null)
    COMPREPLY=()
    case ${answer[0]-} in
    files)
        compopt -o default
        return
        ;;
    folders)
        compopt -o dirnames -o filenames
        return
        ;;
    esac

    # What is inserted stands within the quotes that were typed, or is quoted.
    local typed=${words[-1]} quote='' line word text
    case $typed in
    [\"\']*)
        quote=${typed:0:1}
        typed=${typed:1}
        ;;
    esac
    local -a abouts=()
    for line in "${answer[@]:1}"; do
        word=${line%%$'\t'*}
        case $quote in
        '"') [[ $word == *[\"\$\`\\!]* ]] && continue; text=$word ;;
        "'") [[ $word == *\'* ]] && continue; text=$word ;;
        *)
            printf -v text %q "$word"
            text=${text//\\,/,} # it means nothing outside of braces, and lists have it
            ;;
        esac
        [[ $text == "$typed"* ]] || continue
        COMPREPLY+=("$text")
        abouts+=("${line#*$'\t'}")
    done

    # Where it parts words, it replaces the last part only.
    if [[ -z $quote && $typed == *[:=]* ]]; then
        local breaks=${COMP_WORDBREAKS//[^:=]/}
        if [[ -n $breaks && $typed == *["$breaks"]* ]]; then
            local head=${typed%"${typed##*["$breaks"]}"}
            COMPREPLY=("${COMPREPLY[@]#"$head"}")
        fi
    fi
    compopt -o nosort
    [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[:=,] ]] && compopt -o nospace
    # Where they are only listed, they may say what they are.
    if [[ ${#COMPREPLY[@]} -gt 1 && ${COMP_TYPE-} == @(33|63|64) ]]; then
        for index in "${!COMPREPLY[@]}"; do
            [[ -n ${abouts[index]} ]] && COMPREPLY[index]+="  (${abouts[index]})"
        done
    fi
    return 0
}
complete -F _kestrel kestrel
)shell";

constexpr std::string_view zshScript = R"shell(#compdef kestrel
# Completion of kestrel for zsh. The words come from kestrel itself.

_kestrel() {
    local -a answer closed open
    local line word about
    # "Q" takes quotes away and runs nothing.
    answer=("${(@f)$(command kestrel complete-words -- "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null </dev/null)}")
    case $answer[1] in
    (files|folders)
        [[ $PREFIX == --*=* ]] && compset -P '*='
        if [[ $answer[1] == files ]]; then _files; else _files -/; fi
        return
        ;;
    esac
    for line in "${(@)answer[2,-1]}"; do
        word=${line%%$'\t'*}
        about=${line#*$'\t'}
        line=${${word//\\/\\\\}//:/\\:}${about:+:}$about
        if [[ $word == *[:=,] ]]; then open+=("$line"); else closed+=("$line"); fi
    done
    local result=1
    (( $#closed )) && _describe -V 'kestrel' closed && result=0
    (( $#open )) && _describe -V 'kestrel' open -S '' && result=0
    return result
}

if [[ $funcstack[1] == _kestrel ]]; then
    _kestrel "$@"
else
    compdef _kestrel kestrel
fi
)shell";

constexpr std::string_view fishScript =
    R"shell(# Completion of kestrel for fish 3.4 or later. The words come from kestrel itself.

function __kestrel_words
    set -l typed (commandline -ct)
    set -l answer (command kestrel complete-words -- (commandline -opc)[2..] "$typed" 2>/dev/null </dev/null)
    switch "$answer[1]"
        case files folders
            set -l stem (string match -r -- '^--[^=]*=' "$typed")
            set -l name (string replace -r -- '^--[^=]*=' '' "$typed")
            if test "$answer[1]" = files
                __fish_complete_path "$name" '' | string replace -r -- '^' "$stem"
            else
                __fish_complete_directories "$name" '' | string replace -r -- '^' "$stem"
            end
        case '*'
            printf '%s\n' $answer[2..]
    end
end
complete -c kestrel -f -k -a '(__kestrel_words)'
)shell";

}  // namespace

std::string_view completionScript(std::string_view shell) {
    if (shell == "bash") return bashScript;
    if (shell == "zsh") return zshScript;
    if (shell == "fish") return fishScript;
    return {};
}

}  // namespace KestrelCLI
