#include "voice/hearing/command_phrases.h"

#include <algorithm>
#include <array>

#include "base/text.h"

namespace tolvik {
namespace {

// "@" stands for the task. The rows follow the parser's tables: what it does not understand is no help to hear.
constexpr auto templates = std::to_array<std::string_view>({
    // start
    "(start|starting|begin|beginning|create|add|adding|launch|launching) (a|the|my|with)? @",
    "(start|begin) (working|work) on (the)? @",
    "new task @",
    "working on something new",
    "opening a new @",
    "let me start (the)? @",
    "(kicking off|spinning up|spin up|firing up|fire up|tackle|tackling) (the)? @",
    "let's (start|begin|do|kick off|tackle) (the)? @",
    "gonna (start|begin|do|work on|tackle) (the)? @",
    "going to (start|work on|tackle) (the)? @",
    "i want to (work on|switch to) (the)? @",
    // switch
    "switch (back)? (to|over to) (the)? @",
    "(go|get|move|going|moving|heading) back to (the)? @",
    "(go|move|return|returning|swap|flip|back) to (the)? @",
    "(resume|continue|continue with) (the)? @",
    "(pick|picking) (it|back)? up (the)? @",
    "(hop|hopping|jump|jumping) (back)? (to|on) (the)? @",
    "working on (the)? @",
    "let me (get back to|go back to|switch to|work on) (the)? @",
    "(open|reopen|opening) (the)? @",
    "i'll (do|work on) (the)? @",
    "(do|doing) (the)? @ (instead|now)",
    "(the)? (previous|last|first) (task|one)",
    "(previous|last|(the)? prior (task|one)|before this)",
    "(switch to|go to|resume|go back to|back to)? task (one|two|three|four|five|six|seven|eight|nine|ten)",
    "(the)? one before (this|that)?",
    "(the)? (second|third|fourth|fifth) (task|one)",
    "resume",
    "continue",
    // done
    "(i'm|i am|all)? done",
    "((i'm)? done|finished) with (the)? @",
    "done the @",
    "done (the)? task",
    "done (it|now|here|this|that|with it|with this|with that)",
    "that's (done|it|a wrap)",
    "(finish|finished|complete|completed|finalize|close out|closing out|checked off|check off) (the)? @",
    "(wrap up|ship|shipped|landed|knock out|knocked out) (the)? @",
    "mark (the)? @ (as)? done",
    "mark (it|this|that) (as)? done",
    "ship it",
    // stop
    "(stop|pause|break|enough|hold on)",
    "(stop|pause) for now",
    "(stop|pause) (the)? (timer|task|tracking|it|this)",
    "(stop|pause|stopping) (working on|work on)? (the)? @",
    "(take a|taking a|need a|going on) break",
    "i need to stop",
    "(stepping away|be right back|brb|done for now|heading out|i'm out|let me stop|end the day|end day)",
    "calling it (for (today|now|the day))?",
    "(wrap|wrapping) up for now",
    "(put|putting) (this|it) down",
    "undo (that)?",
});

/// The position behind the bracket that closes the one at `open`.
std::size_t behindBracket(std::string_view text, std::size_t open) {
    int depth = 0;
    for (std::size_t at = open; at < text.size(); ++at) {
        depth += text[at] == '(' ? 1 : text[at] == ')' ? -1 : 0;
        if (depth == 0) {
            return at + 1;
        }
    }
    return text.size();
}

std::vector<std::string_view> choices(std::string_view inside) {
    std::vector<std::string_view> parts;
    std::size_t begin = 0;
    int depth = 0;
    for (std::size_t at = 0; at <= inside.size(); ++at) {
        if (at == inside.size() || (inside[at] == '|' && depth == 0)) {
            parts.push_back(inside.substr(begin, at - begin));
            begin = at + 1;
        } else {
            depth += inside[at] == '(' ? 1 : inside[at] == ')' ? -1 : 0;
        }
    }
    return parts;
}

}  // namespace

std::vector<std::string> writtenOut(std::string_view text) {
    const std::size_t open = text.find('(');
    if (open == std::string_view::npos) {
        return {joined(words(text), " ")};
    }
    const std::size_t behind = behindBracket(text, open);
    const bool optional = behind < text.size() && text[behind] == '?';
    std::vector<std::string> middles;
    for (const std::string_view choice : choices(text.substr(open + 1, behind - open - 2))) {
        for (std::string& middle : writtenOut(choice)) {
            middles.push_back(std::move(middle));
        }
    }
    if (optional) {
        middles.emplace_back();
    }
    std::vector<std::string> out;
    for (const std::string& rest : writtenOut(text.substr(behind + (optional ? 1 : 0)))) {
        for (const std::string& middle : middles) {
            out.push_back(
                joined(words(std::string(text.substr(0, open)).append(middle).append(" ").append(rest)), " "));
        }
    }
    return out;
}

const std::vector<CommandPhrase>& commandPhrases() {
    static const std::vector<CommandPhrase> phrases = [] {
        std::vector<CommandPhrase> made;
        for (const std::string_view row : templates) {
            for (const std::string& sentence : writtenOut(row)) {
                const std::size_t slot = sentence.find('@');
                CommandPhrase phrase;
                phrase.takesTask = slot != std::string::npos;
                phrase.lead = trimmed(sentence.substr(0, slot));
                phrase.tail = phrase.takesTask ? trimmed(sentence.substr(slot + 1)) : "";
                if (std::find(made.begin(), made.end(), phrase) == made.end()) {
                    made.push_back(std::move(phrase));
                }
            }
        }
        return made;
    }();
    return phrases;
}

}  // namespace tolvik
