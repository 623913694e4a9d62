"""What the synthetic voices say: lists to tune with, others to report with.

No list to tune with shares a title, a name, a word or a sentence with one to report with, but for commands that name
no task, of which there are few. A command is (kind, sentence, action, task): kind "full" says an existing title whole,
"part" only some of it, "new" names a task that does not exist yet, "bare" names none, "word" is one word that is no
command, "other" a sentence that is none. For "new" the task is the title that should come out. Nothing here is read by
the product.
"""

import itertools

# What commands mean that name no task: "#2" is the second of the list, "#-1" the last.
BARE = {
    ("stop", None): [
        "pause", "take a break", "stop the timer", "calling it for today", "stop", "pause the timer", "i'm done",
        "be right back", "done for now", "stop tracking", "need a break", "pause for now", "wrapping up for now",
        "heading out", "break", "enough",
    ],
    ("done", None): ["that's done", "all done", "done", "mark it as done", "mark this as done"],
    ("switch", "#2"): ["the previous one", "task two", "previous task", "resume", "continue", "the previous task"],
    ("switch", "#3"): ["task three"],
    ("switch", "#4"): ["task four"],
    ("switch", "#-1"): ["last task"],
    ("undo", None): ["undo"],
}
MEANING = {sentence: meaning for meaning, sentences in BARE.items() for sentence in sentences}
DONE_LEADS = ("done ", "i'm done ", "i'm finished ", "finished ", "finish ", "completed ", "complete ", "wrap up ")


def action_of(sentence):
    return "done" if sentence.startswith(DONE_LEADS) else "stop" if sentence.startswith("stop ") else "switch"


def spoken(tasks, projects, terms, full=(), part=(), new=(), bare=(), words=(), other=(), takes=((),)):
    """A set. `full` holds what is said of each task in turn, "@" being its title; `part` pairs of a sentence and its
    task; `new` pairs of what comes before a new title, and the title; `takes` how each clip is changed by sox."""
    assert len(full) in (0, len(tasks))
    commands = []
    for each, task in zip(full, tasks):
        sentence = each.replace("@", task.lower())
        commands.append(("full", sentence, action_of(sentence), task))
    commands += [("part", sentence, action_of(sentence), task) for sentence, task in part]
    commands += [("new", (lead + " " + title).strip(), "start", title) for lead, title in new]
    commands += [("bare", sentence, *MEANING[sentence]) for sentence in bare]
    commands += [("word", word, "none", None) for word in words]
    commands += [("other", sentence, "none", None) for sentence in other]
    return {"tasks": tasks, "projects": projects, "terms": terms, "commands": commands, "takes": takes}


# Sentences that are no command, for the share of forced commands: what is said must stay what is said.
OTHER = [
    "give me the numbers for august", "the weather was lovely on the coast", "she asked whether the train had left",
    "we should order more coffee", "there are seven oranges on the table", "nobody answered the door",
    "he reported the accident yesterday", "reviews of the new film were mixed", "the planning board said no",
    "my brother returns in october", "documents must be signed twice", "the bug bit my arm",
    "taxes went up again", "notes in the margin are hard to read", "the pipeline carries natural gas",
    "we walked along the river until dark",
]

TUNING = spoken(
    tasks=[
        "Client presentation", "Fix checkout crash", "Monthly newsletter", "Performance review", "Acme proposal",
        "Garden planning", "Email campaign", "Update dependencies", "User research", "Team offsite", "Video editing",
        "Backup server", "Grant application", "Landing page", "Standup notes", "Translate handbook",
        "Order hardware", "Pricing strategy", "Interview Marcus", "Data cleanup",
    ],
    projects=["Brivio", "Household", "Northwind"],
    terms=["Brivio", "Tamsin", "Grafana", "Terraform", "Okonkwo"],
    full=[
        "start the @", "switch to @", "resume @", "back to @", "go to the @", "i'm done with @", "finished @",
        "continue @", "let me work on @", "switch back to @", "working on @", "start @", "complete the @",
        "jump to @", "stop working on @", "begin @", "@", "move to @", "done with @", "return to @",
    ],
    part=[
        ("switch to the presentation", "Client presentation"), ("back to the checkout crash", "Fix checkout crash"),
        ("go back to the newsletter", "Monthly newsletter"), ("resume the campaign", "Email campaign"),
        ("switch to dependencies", "Update dependencies"), ("done with the application", "Grant application"),
        ("work on the handbook", "Translate handbook"), ("continue with pricing", "Pricing strategy"),
    ],
    new=[
        ("start", "painting the fence"), ("start", "reviewing the brivio contract"),
        ("new task", "water the plants"), ("begin", "terraform refactoring"), ("create", "holiday schedule"),
        ("start", "lunch with tamsin"), ("", "reading the grafana manual"), ("start", "mentoring session"),
        ("add", "answer support tickets"), ("start", "debugging the payment gateway"),
    ],
    bare=[
        "pause", "take a break", "that's done", "stop the timer", "task three", "the previous one", "all done",
        "calling it for today",
    ],
    other=OTHER,
)

REPORT = spoken(
    tasks=[
        "Quarterly report", "Design review", "Invoice for Acme", "Fix login bug", "Onboarding flow",
        "Weekly planning", "Customer interviews", "Database migration", "Website copy", "Expense claims",
        "Sprint retrospective", "Payroll", "Write unit tests", "Search index", "Call with Tamsin", "Blog post draft",
        "Roadmap slides", "Bug triage", "Deploy to staging", "Hiring pipeline", "Budget forecast", "Security audit",
        "API documentation", "Release notes", "Inbox zero", "Kubernetes upgrade", "Brand guidelines", "Tax return",
        "Competitor analysis", "Contract negotiation",
    ],
    projects=["Halden", "Internal", "Vantera"],
    terms=["Vantera", "Tamsin", "Kubernetes", "Postgres", "Szymon", "Lisbeth", "OAuth"],
    full=[
        "start the @", "switch to @", "back to @", "i'm done with @", "resume @", "start @", "go to @", "continue @",
        "finished the @", "switch over to @", "let me get back to @", "@", "begin @", "work on the @", "@",
        "done with @", "jump back to @", "start @", "resume @", "move to @", "return to @", "switch to the @ please",
        "continue with @", "completed @", "go back to @", "start @", "pick up @", "i'm finished with @",
        "working on @", "switch to @ now",
    ],
    part=[
        ("switch to the quarterly", "Quarterly report"), ("back to the review", "Design review"),
        ("go to the acme invoice", "Invoice for Acme"), ("switch to the login bug", "Fix login bug"),
        ("resume onboarding", "Onboarding flow"), ("back to planning", "Weekly planning"),
        ("continue the interviews", "Customer interviews"), ("done with the migration", "Database migration"),
        ("switch to the retrospective", "Sprint retrospective"), ("go back to the unit tests", "Write unit tests"),
        ("work on the blog post", "Blog post draft"), ("finished the roadmap", "Roadmap slides"),
        ("switch to staging", "Deploy to staging"), ("resume hiring", "Hiring pipeline"),
        ("back to the budget", "Budget forecast"), ("continue the audit", "Security audit"),
        ("work on documentation", "API documentation"), ("done with the notes", "Release notes"),
        ("go to kubernetes", "Kubernetes upgrade"), ("switch to the guidelines", "Brand guidelines"),
        ("back to the taxes", "Tax return"), ("resume competitors", "Competitor analysis"),
        ("continue the negotiation", "Contract negotiation"), ("switch to tamsin", "Call with Tamsin"),
    ],
    new=[
        ("start", "coding the auth flow"), ("start", "buying printer paper"), ("begin", "warehouse inventory"),
        ("new task", "book flights to lisbon"), ("create", "color palette"), ("add", "fix the printer"),
        ("start", "meeting with szymon"), ("start", "vantera workshop"), ("start", "cleaning the kitchen"),
        ("start", "postgres tuning"), ("begin", "drafting the speech"), ("start", "phone interview with lisbeth"),
        ("start", "reading about compilers"), ("new task", "sketch the logo"), ("start", "photo backup"),
        ("create", "test plan for the mobile app"), ("start", "grading homework"),
        ("begin the", "oauth integration"), ("start", "gym"), ("start", "walking the dog"),
        ("add", "renew the insurance"), ("start", "French lesson"), ("start", "preparing the workshop in berlin"),
        ("begin", "measuring page load times"), ("start", "code review for the new hire"),
        ("start", "fixing the leaking tap"),
    ],
    bare=[
        "stop", "done", "pause the timer", "i'm done", "be right back", "task two", "last task", "done for now",
        "mark it as done", "previous task", "stop tracking", "need a break",
    ],
    other=OTHER,
)

# Made when hearing had been changed after the report set's results were known; run once for the figures on record.
FRESH = spoken(
    tasks=[
        "Board meeting", "Product launch", "Repair bicycle", "Rewrite parser", "Guest list", "Annual budget",
        "Podcast episode", "Server monitoring", "Lesson plan", "Photo album", "Marketing brochure",
        "Vendor contract", "Clean garage", "Import customers", "Thesis chapter", "Conference talk",
        "Payment reminders", "Icon set", "Load testing", "Travel booking", "Staff training", "Insurance claim",
        "Error handling", "Press release", "Medical appointment", "Warehouse layout", "Logo redesign",
        "Reading list", "Patent filing", "Supplier visit",
    ],
    projects=["Ostrava", "Kitchen", "Meridian"],
    terms=["Meridian", "Redis", "Annika", "Figma", "Lindqvist"],
    full=[
        "start the @", "switch to @", "back to @", "continue @", "done with the @", "go to @", "resume the @",
        "go back to @", "finished the @", "working on @", "jump to @", "completed @", "begin @", "start @",
        "return to the @", "let me work on the @", "i'm done with @", "move to @", "switch over to @", "pick up @",
        "@", "finish the @", "let me get back to @", "switch to the @ please", "hop to @", "resume @", "open @",
        "back to the @", "wrap up @", "continue with @",
    ],
    part=[
        ("switch to the launch", "Product launch"), ("back to the parser", "Rewrite parser"),
        ("resume monitoring", "Server monitoring"), ("done with the brochure", "Marketing brochure"),
        ("go to the thesis", "Thesis chapter"), ("continue the training", "Staff training"),
        ("go back to the insurance", "Insurance claim"), ("switch to the patent", "Patent filing"),
    ],
    new=[
        ("start", "ironing the curtains"), ("new task", "replace the battery"), ("begin", "customer survey"),
        ("start", "dinner with annika"), ("create", "floor plan"), ("start", "baking bread"),
        ("add", "check the smoke alarm"), ("start", "meridian kickoff"), ("start", "writing thank you letters"),
        ("begin the", "redis upgrade"),
    ],
    bare=[
        "pause", "resume", "stop", "done", "take a break", "task four", "stop tracking", "the previous task",
        "pause for now", "wrapping up for now", "mark this as done", "heading out",
    ],
    other=OTHER,
)

# Names that nobody has, and what is said with them. "@" is the name.
NAMED_WORK = [
    ("start", "the @ contract"), ("begin", "lunch with @"), ("new task", "write to @"), ("start", "@ onboarding"),
    ("add", "send @ the slides"), ("start", "preparing the @ demo"), ("create", "@ budget"),
    ("start", "phone call with @ about pricing"),
]
NAMES_TUNING = [
    "Kelvora", "Trinmark", "Ambrosel", "Dovetine", "Lorvane", "Skarden", "Phelomar", "Rintova", "Guldrake", "Estoran",
    "Wendrick", "Molvanto", "Ziberlin", "Hartune", "Quenby", "Plastovia", "Tremolan", "Yaskar", "Oblinger", "Verdanza",
    "Cliffmore", "Jessarin", "Bantico", "Fryholt", "Sundrel", "Maravek", "Ikelund", "Dranmore", "Pellucia", "Roskiva",
]
NAMES_REPORT = [
    "Brevanko", "Taluvia", "Morhaven", "Zintara", "Quillmere", "Ostrelle", "Kavindel", "Lumetra", "Fenwarth", "Dalmora",
    "Yoritel", "Pendrake", "Valtrix", "Ebonwell", "Jarnholm", "Nexaro", "Orbanek", "Halvarsen", "Wistmoor", "Cadrel",
    "Irvanta", "Belquist", "Grenovia", "Xelion", "Aldermast", "Plinova", "Tarkwell", "Vesnik", "Corazine", "Bramidor",
    "Hestival", "Umbrani", "Sylvarek", "Tobrink", "Marquenta", "Loddenfield",
]


def named(names, neighbours):
    """Each name in two sentences, in a log with the neighbours' titles; their new titles and the sentences that are no
    command hold none of the names."""
    turns = itertools.islice(itertools.cycle(NAMED_WORK), 2 * len(names))
    new = [(lead, work.replace("@", names[number // 2])) for number, (lead, work) in enumerate(turns)]
    without = [(sentence[:-len(title) - 1], title) for kind, sentence, _, title in neighbours["commands"] if
               kind == "new"]
    return spoken(neighbours["tasks"], neighbours["projects"], list(names), new=new + without[:10], other=OTHER)


# Single words; half of those that are no command sound nearly like one.
LONE_COMMANDS = ["break", "continue", "done", "enough", "pause", "resume", "stop"]
WORDS_TUNING = [
    "beach", "because", "boss", "cause", "chop", "cinema", "coffee", "dawn", "dentist", "dumb", "garden", "hello",
    "homework", "horse", "house", "laundry", "lunch", "maybe", "mouse", "music", "no", "okay", "plus", "pose", "resumes",
    "shop", "sorry", "spa", "start", "thanks", "ton", "top", "what", "yes",
]
WORDS_REPORT = [
    "stock", "stuck", "step", "dust", "dot", "down", "paws", "post", "purse", "paint", "brick", "brave", "great",
    "reason", "result", "rescue", "rough", "stuff", "gun", "fun", "tin", "content", "contain", "steep",
    "table", "window", "yesterday", "orange", "doctor", "monday", "tennis", "guitar", "river", "mother", "winter",
    "bread", "traffic", "parking", "lamp", "email",
]
# The same few commands in takes that no list to tune with has.
OTHER_TAKES = [("tempo", "0.9", "pitch", "-60"), ("tempo", "1.12", "pitch", "80")]

# More of both, with a command more. Words that sound exactly like a command ("brake") are left out.
MORE_COMMANDS = [*LONE_COMMANDS, "undo"]
MORE_TUNING_TAKES = [("tempo", "0.95", "pitch", "40"), ("tempo", "1.06", "pitch", "-40"),
                     ("tempo", "0.86", "pitch", "110")]
MORE_WORDS_TUNING = [
    "clause", "course", "pass", "purpose", "pals", "bows", "staff", "stomp", "soap", "stamp", "sock", "swap", "sun",
    "dump", "den", "run", "dunk", "darn", "reserve", "reservoir", "consume", "museum", "container", "venue", "revenue",
    "bake", "brain", "rake", "block", "tough", "snuff", "inner", "enter", "bluff", "under", "until", "voodoo",
    "breakfast", "meeting", "invoice", "budget", "travel", "camera", "picture", "dinner", "report", "server", "design",
    "database", "friday", "running", "painting", "shopping", "planning", "reading", "testing", "review", "phone",
    "kitchen", "walk", "gym", "sleep", "research", "slides",
]
MORE_TAKES = [("tempo", "0.95", "pitch", "-120"), ("tempo", "1.2"), ("tempo", "0.82", "pitch", "50"),
              ("tempo", "1.05", "pitch", "150")]
MORE_WORDS_REPORT = [
    "palace", "force", "cows", "pours", "bars", "shot", "stab", "strap", "spot", "gone", "dune", "dull", "thumb",
    "perfume", "assume", "resource", "costume", "continent", "avenue", "menu", "minute", "rain", "bright", "wreck",
    "muffin", "rust", "elf", "onto", "canoe", "sunday", "calendar", "support", "lawyer", "yoga", "cooking", "contract",
    "hospital", "cleaning", "taxes", "newsletter", "workshop", "bicycle", "sales",
]


def alone(words, neighbours, takes, commands=LONE_COMMANDS):
    return spoken(neighbours["tasks"], neighbours["projects"], neighbours["terms"], bare=commands, words=words,
                  takes=takes)


SETS = {
    "tuning": TUNING, "report": REPORT, "fresh": FRESH,
    "names-tuning": named(NAMES_TUNING, TUNING), "names": named(NAMES_REPORT, FRESH),
    "words-tuning": alone(WORDS_TUNING, TUNING, [()]), "words": alone(WORDS_REPORT, REPORT, OTHER_TAKES),
    "lone-tuning": alone([], TUNING, MORE_TUNING_TAKES, MORE_COMMANDS),
    "others-tuning": alone(MORE_WORDS_TUNING, TUNING, MORE_TUNING_TAKES[:1], []),
    "lone": alone([], FRESH, MORE_TAKES, MORE_COMMANDS), "others": alone(MORE_WORDS_REPORT, FRESH, MORE_TAKES[:2], []),
}
# Commands without a task are few; two sets may hold the same one.
SHARED = {"take a break", "stop tracking"}


def check():
    for one, other in itertools.combinations((TUNING, REPORT, FRESH), 2):
        assert not set(t.lower() for t in one["tasks"]) & set(t.lower() for t in other["tasks"])
        shared = set(c[1] for c in one["commands"]) & set(c[1] for c in other["commands"]) - set(OTHER)
        assert all(" " not in sentence or sentence in SHARED for sentence in shared), shared
    assert not set(NAMES_TUNING) & set(NAMES_REPORT) and len(NAMES_REPORT) >= 30
    assert not set(WORDS_TUNING + MORE_WORDS_TUNING) & set(WORDS_REPORT + MORE_WORDS_REPORT)
    assert not {*MORE_TUNING_TAKES} & {*OTHER_TAKES, *MORE_TAKES}
    assert sum(c[0] != "other" for c in REPORT["commands"]) >= 90
    for each in SETS.values():
        for kind, _, _, task in each["commands"]:
            assert kind not in ("full", "part") or task in each["tasks"], task


if __name__ == "__main__":
    check()
    print({name: len(each["commands"]) for name, each in SETS.items()})
