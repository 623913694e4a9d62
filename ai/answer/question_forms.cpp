#include "ai/answer/question_forms.h"

#include <string_view>
#include <vector>

namespace tolvik {
namespace {

struct Form {  // NOLINT(clang-analyzer-optin.performance.Padding): in the order in which forms are read
    Intent intent;
    std::string_view words;
    std::size_t fewest = 0;
    std::size_t most = 1;
    bool exactName = false;
};

// {N} a name; {ON} a name behind a preposition, or nothing; {ALL} words that add nothing; {SPENT} verbs of working.
constexpr Form kForms[] = {
    // --- how much ---
    {Intent::total,
     "(?:how (?:much|many) (?:total )?(?:of my )?(?:time|work|hours|minutes)|how much|how long|for how long|how many "
     "hours of work)"
     "(?: in total| all in all)?(?: (?:(?:did|have|had) )?i(?: (?:already|actually))?)?{SPENT}?(?: in total| "
     "altogether| working)?{ON}{ALL}"},
    {Intent::total,
     "how (?:much|many) (?:of my )?(?:time|work|hours|minutes)(?: (?:was|were|has been|have been|is|got))?"
     " (?:went|gone|go|goes|spent|tracked|logged|worked|put|recorded|invested|used)(?: up)? "
     "(?:in|into|to|on|for|by|with) {N}{ALL}"},
    {Intent::total,
     "how (?:much time|many hours|long) (?:did|has|have|does) {N} (?:take|taken|took|cost|need|needed|use)(?: up)?(?: "
     "me)?{ALL}"},
    {Intent::total,
     "(?:what (?:is|was|were|are) )?(?:my |the )?(?:total|(?:total|overall|tracked|working|worked) (?:time|hours))"
     "(?: (?:spent|tracked|worked|logged|recorded|in total))?{ON}{ALL}"},
    {Intent::total,
     "(?:what (?:is|was|were|are) )?my (?:time|hours|total)(?: (?:spent|tracked|worked|logged|recorded))?{ON}{ALL}"},
    {Intent::total,
     "(?:the )?(?:time|hours)(?: (?:i )?(?:spent|tracked|worked|logged|recorded))?(?: working)? (?:on|for|in|with) "
     "{N}{ALL}"},
    {Intent::total, "(?:the )?(?:(?:time|hours) (?:i )?(?:spent|tracked|worked|logged|recorded)|hours){ALL}", 1},
    {Intent::total, "{N}", 1, 1, true},
    {Intent::total, "{N} (?:time|hours|total)", 0, 1, true},
    {Intent::total, "(?:time|hours|total) {N}", 0, 1, true},
    // --- what ---
    {Intent::list,
     "what (?:did|have|had) i (?:do|done|did|work on|worked on|work|worked|been doing|been working on|been up to|get "
     "up to|spend(?: my)? time on|spent(?: my)? time on|track|tracked|log|logged)"
     "{ON}{ALL}",
     1},
    {Intent::list, "what was i (?:doing|working on|working|up to){ON}{ALL}", 1},
    {Intent::list,
     "(?:which|what) tasks (?:did|have) i (?:work on|worked on|work|been working on|track|tracked|spend time "
     "on){ON}{ALL}",
     1},
    {Intent::list,
     "(?:(?:list|show)(?: me)?(?: (?:my|the|all|all my))? (?:log|entries)|show(?: me)? my "
     "(?:time|work|day|week)){ON}{ALL}",
     1},
    {Intent::list,
     "(?:how did i spend my (?:time|day|week|month)|how was my (?:time|day|week|month) spent|where did (?:my|the|all "
     "my) time go){ALL}",
     1},
    {Intent::list, "(?:summary|summarise|summarize|recap|overview)(?: (?:of|my day|my week|my work))?{ALL}", 1},
    {Intent::listProjects,
     "(?:which|what) projects (?:did|have) i (?:work on|worked on|work|been working on|track|spend time on|touch){ALL}",
     1},
    // --- which day ---
    {Intent::longestDay,
     "(?:(?:what|which|when) (?:is|was) )?(?:my |the )?(?:longest|busiest) (?:day|work day|workday|working day)(?: of "
     "(?:work|all))?{ON}{ALL}"},
    {Intent::longestDay,
     "(?:on )?(?:which|what) day (?:did|have) i (?:work|worked|track|tracked|log|spend)(?: the)? (?:most|longest)(?: "
     "time| hours)?{ON}{ALL}"},
    {Intent::longestDay, "when did i work (?:the )?(?:most|longest){ON}{ALL}"},
    {Intent::shortestDay,
     "(?:(?:what|which|when) (?:is|was) )?(?:my |the )?(?:shortest) (?:day|work day|workday|working day)(?: of "
     "work)?{ON}{ALL}"},
    {Intent::shortestDay,
     "(?:on )?(?:which|what) day (?:did|have) i (?:work|worked|track|tracked)(?: the)? (?:least|shortest)(?: time| "
     "hours)?{ON}{ALL}"},
    // --- most and least ---
    {Intent::mostProject,
     "(?:which|what) project (?:took|takes|has taken|got|had|has|used|cost|ate|consumed|received)(?: up)?(?: me)?(?: "
     "the)? (?:most|longest)(?: of my)?(?: time| hours| work)?{ALL}"},
    {Intent::mostProject,
     "(?:on )?(?:which|what) project (?:did|have) i (?:spend|spent|work|worked|work on|worked on|put)(?: the)? "
     "(?:most|longest)(?: of my)?(?: time| hours| work)?(?: on| in| into)?{ALL}"},
    {Intent::mostProject,
     "(?:what (?:is|was) |which (?:is|was) )?(?:my |the )?(?:top|biggest|largest|main|number one) project(?: by "
     "time)?{ALL}"},
    {Intent::leastProject,
     "(?:which|what) project (?:took|takes|got|had|has|used|cost|received)(?: up)?(?: the)? least(?: of my)?(?: time| "
     "hours| work)?{ALL}"},
    {Intent::leastProject,
     "(?:on )?(?:which|what) project did i (?:spend|work|work on|put)(?: the)? least(?: of my)?(?: time| hours| "
     "work)?(?: on| in| into)?{ALL}"},
    {Intent::mostTask,
     "(?:which|what) task (?:took|takes|has taken|got|had|has|used|cost|ate|consumed|received)(?: up)?(?: me)?(?: "
     "the)? (?:most|longest)(?: of my)?(?: time| hours| work)?{ON}{ALL}"},
    {Intent::mostTask,
     "(?:on )?(?:which|what) task (?:did|have) i (?:spend|spent|work|worked|work on|worked on|put)(?: the)? "
     "(?:most|longest)(?: of my)?(?: time| hours| work)?(?: on| in| into)?{ALL}"},
    {Intent::mostTask,
     "(?:what (?:is|was) |which (?:is|was) )?(?:my |the )?(?:top|biggest|largest|longest|main) task(?: by "
     "time)?{ON}{ALL}"},
    {Intent::leastTask,
     "(?:which|what) task (?:took|takes|got|had|has|used|cost|received)(?: up)?(?: the)? least(?: of my)?(?: time| "
     "hours| work)?{ON}{ALL}"},
    // --- when ---
    {Intent::lastWork,
     "when (?:did|have) i last (?:work|worked|do|did|done|track|tracked|spend time|touch|touched)(?: "
     "(?:on|with|in|for))? {N}"},
    {Intent::lastWork, "when (?:did|have) i (?:work|worked) (?:on|with|in|for) {N} last"},
    {Intent::lastWork,
     "when (?:was|is) the last time (?:that )?i (?:worked|did|tracked|was working|spent time|touched)(?: "
     "(?:on|with|in|for))? {N}"},
    {Intent::firstWork, "when (?:did|have) i first (?:work|worked|do|track|spend time)(?: (?:on|with|in|for))? {N}"},
    {Intent::firstWork,
     "when (?:was|is) the first time (?:that )?i (?:worked|did|tracked|was working|spent time)(?: "
     "(?:on|with|in|for))? {N}"},
    {Intent::firstWork, "when did i (?:start|begin)(?: (?:working|work))? (?:on|with|in|for) {N}"},
    {Intent::dayStart, "(?:when|at what time) did i (?:start|begin)(?: (?:work|working|my day|to work))?", 1},
    {Intent::dayEnd, "(?:when|at what time) did i (?:stop|finish|end)(?: (?:work|working|my day))?", 1},
    {Intent::current,
     "what am i (?:doing|working on|tracking|up to)(?: (?:now|right now|just now|at the moment|currently))?", 0, 0},
    {Intent::current,
     "what (?:task )?is (?:running|running now|my current task|the current task|being tracked)(?: (?:now|right now|at "
     "the moment))?",
     0, 0},
    {Intent::current, "(?:which|what) task is running(?: (?:now|right now|at the moment))?", 0, 0},
    // --- how many ---
    {Intent::countDays,
     "(?:on )?how many (?:different )?(?:days|work days|workdays|working days) (?:did|have|had) i (?:work|worked|been "
     "working|track|tracked)(?: time)?{ON}{ALL}"},
    {Intent::countTasks,
     "how many (?:different )?tasks (?:did|have) i (?:work on|worked on|work|track|tracked|touch|spend time "
     "on){ON}{ALL}"},
    {Intent::countProjects,
     "how many (?:different )?projects (?:did|have) i (?:work on|worked on|work|track|tracked|touch|spend time "
     "on){ALL}"},
    // --- a day ---
    {Intent::average,
     "(?:what (?:is|was) )?(?:my |the )?(?:average|mean)(?: (?:time|hours|work|work time|working time))?(?: "
     "(?:worked|tracked|spent))? (?:per|a|each|every) (?:day|work day|workday|working day){ON}{ALL}"},
    {Intent::average,
     "(?:what (?:is|was) )?(?:my |the )?(?:daily (?:average|mean)|average (?:day|working day|work day|daily time|daily "
     "hours))(?: (?:time|hours))?{ON}{ALL}"},
    {Intent::average,
     "(?:on average )?how (?:much|many hours|long|much time) (?:did|do|have) i (?:work|worked|track|spend)(?: on "
     "average)? (?:per|a|each|every) (?:day|work day|workday|working day)(?: on average)?{ON}{ALL}"},
    {Intent::average,
     "(?:on average )?how (?:many hours|much time|much) (?:per|a|each|every) day (?:did|do|have) i "
     "(?:work|worked|track|spend)(?: on average)?{ON}{ALL}"},
    {Intent::average,
     "how (?:much|many hours|long|much time) (?:did|do|have) i (?:work|worked|track|tracked) on average(?: "
     "(?:per|a|each|every) day){ON}{ALL}"},
    // --- two periods ---
    {Intent::comparePeriods,
     "(?:did|have) i (?:work|worked|spend|spent|track|tracked|do|done)(?: (?:more|less|longer))?(?: time| hours)?{ON} "
     "@ (?:than|or|compared to|compared with|vs|versus) @",
     2, 2},
    {Intent::comparePeriods,
     "how much (?:more|less|longer)(?: time)? did i (?:work|spend|track|do)(?: time)?{ON} @ (?:than|compared "
     "to|compared with|vs|versus) @",
     2, 2},
    {Intent::comparePeriods,
     "(?:please )?compare(?: my| the)?(?: (?:time|work|hours))?{ON} @ (?:with|to|and|against|vs|versus) @", 2, 2},
    {Intent::comparePeriods, "(?:how does |how did )?@ compare(?:d)? (?:with|to|against) @", 2, 2},
    {Intent::comparePeriods, "@ (?:vs|versus|against|or|compared to|compared with) @", 2, 2},
    {Intent::comparePeriods, "(?:time|hours|work){ON} @ (?:vs|versus|against|compared to|compared with) @", 2, 2},
    {Intent::comparePeriods, "compare {N} @ (?:with|to|and|against|vs|versus) @", 2, 2},
    {Intent::comparePeriods, "{N} @ (?:vs|versus|against|compared to|compared with) @", 2, 2, true},
    // --- two names ---
    {Intent::compareNames,
     "(?:did|have) i (?:spend|spent|work|worked|put)(?: (?:more|less|longer))?(?: time| hours)? (?:on|for|in|into) {N} "
     "(?:or|than|vs|versus|compared to)(?: (?:on|for))? {N}"},
    {Intent::compareNames,
     "(?:which|what) (?:took|takes|got|had|cost)(?: (?:more|longer|most|the most|less))?(?: time| hours)? {N} or {N}"},
    {Intent::compareNames,
     "compare(?: (?:time|hours|my time))?(?: (?:on|for))? {N} (?:and|with|to|against|vs|versus) {N}"},
    {Intent::compareNames, "{N} (?:vs|versus|compared to|compared with) {N}", 0, 1, true},
    // --- shares ---
    {Intent::share,
     "(?:what|which|how much of)(?: (?:share|percentage|percent|part|fraction|proportion))(?: of)?(?: "
     "(?:my|the|all|all my))?(?: (?:total|tracked|working))?(?: (?:time|work|hours|day|week|month|year))? "
     "(?:(?:did|have|do) i (?:spend|spent|put)(?: on| in| into)|went to|went into|goes to|goes into|was|is|was spent "
     "on|was for|is for) {N}{ALL}"},
    {Intent::share,
     "(?:what|how much) (?:is|was) (?:the )?(?:share|percentage|part|fraction|proportion) (?:of|for) {N}{ALL}"},
};

std::string replaced(std::string text, std::string_view name, std::string_view by) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + by.size())) {
        text.replace(at, name.size(), by);
    }
    return text;
}

std::vector<QuestionForm> made() {
    std::vector<QuestionForm> forms;
    for (const auto& form : kForms) {
        std::string words(form.words);
        words = replaced(std::move(words), "{SPENT}",
                         "(?: (?:spend|spent|work|worked|log|logged|track|tracked|put|put in|use|used|need|needed|"
                         "record|recorded|do|done|invest|invested))");
        words = replaced(std::move(words), "{ON}", "(?: (?:on|for|in|with|into|to|doing) {N})?");
        words = replaced(std::move(words), "{ALL}",
                         "(?: in total| altogether| overall| in all| all in all| all time| "
                         "ever| so far| until now| up to now)?");
        // No period may stand inside a name.
        words = replaced(std::move(words), "{N}", "([^@ ]+(?: [^@ ]+)*?)");
        forms.push_back({form.intent, Pattern("^" + words + "$"), form.fewest, form.most, form.exactName});
    }
    return forms;
}

}  // namespace

std::span<const QuestionForm> questionForms() {
    static const std::vector<QuestionForm> forms = made();
    return forms;
}

}  // namespace tolvik
