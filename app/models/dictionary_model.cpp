#include "app/models/dictionary_model.h"

#include <algorithm>

#include "app/models/wording.h"
#include "base/text.h"

namespace tolvik {
namespace {

constexpr qsizetype kCountedAtOnce = 20'000;
constexpr int kCountingPauseMs = 150;
constexpr int kImportedMs = 4000;
constexpr std::size_t kKnownNamed = 3;

QString countedTerms(qsizetype count) {
    return QStringLiteral("%1 %2").arg(count).arg(count == 1 ? QStringLiteral("term") : QStringLiteral("terms"));
}

QString shown(const DictEntry& entry) {
    return wording::fromUtf8(entry.hint.empty() ? entry.term : entry.term + " (" + entry.hint + ")");
}

}  // namespace

DictionaryModel::DictionaryModel(DictionaryManager& dictionary, AppStore& store, ToastModel& toast, QObject* parent)
    : QObject(parent), dictionary_(dictionary), store_(store), toast_(toast) {
    counting_.setSingleShot(true);
    counting_.setInterval(kCountingPauseMs);
    connect(&counting_, &QTimer::timeout, this, &DictionaryModel::countImport);
    dictionarySubscription_ = dictionary.onChanged([this] { update(); });
    storeSubscription_ = store.onChanged([this, revision = store.revision()]() mutable {
        if (std::exchange(revision, store_.revision()) != store_.revision()) {
            update();
        }
    });
    update();
}

void DictionaryModel::update() {
    if (target_ && store_.tagById(*target_) == nullptr) {
        target_.reset();
    }
    if (importTarget_ && store_.tagById(*importTarget_) == nullptr) {
        importTarget_.reset();
    }
    targets_.update(store_, {dictionary_.entries(), dictionary_.activeTagId()});
    terms_.update(dictionary_.entries(), target_, search_);
    Q_EMIT changed();
}

std::optional<Identifier> DictionaryModel::toTarget(const QString& id) {
    return id.isEmpty() ? std::nullopt : std::optional(Identifier(id.toStdString()));
}

QString DictionaryModel::nameOf(const std::optional<Identifier>& tagId) const {
    const TagModel* tag = tagId ? store_.tagById(*tagId) : nullptr;
    return tag != nullptr ? wording::fromUtf8(tag->name) : QStringLiteral("Personal");
}

QString DictionaryModel::targetId() const {
    return target_ ? wording::fromUtf8(target_->text()) : QString();
}

void DictionaryModel::setTargetId(const QString& id) {
    if (id != targetId()) {
        target_ = toTarget(id);
        search_.clear();
        update();
    }
}

bool DictionaryModel::targetIsCurrent() const {
    return target_ && dictionary_.activeTagId() == target_;
}

void DictionaryModel::setSearch(const QString& search) {
    if (search != search_) {
        search_ = search;
        terms_.update(dictionary_.entries(), target_, search_);
        Q_EMIT changed();
    }
}

QString DictionaryModel::countText() const {
    const auto all = std::ranges::count(dictionary_.entries(), target_, &DictEntry::tagId);
    return search_.trimmed().isEmpty() ? countedTerms(all)
                                       : QStringLiteral("%1 of %2").arg(terms_.rowCount()).arg(countedTerms(all));
}

QString DictionaryModel::problemText() const {
    const auto problem = dictionary_.saveProblem();
    if (!problem) {
        return {};
    }
    const std::string_view text = describe(*problem);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

void DictionaryModel::setCurrent(bool current) {
    if (target_ && current != targetIsCurrent()) {
        dictionary_.setActiveProject(current ? target_ : std::nullopt);
    }
}

QString DictionaryModel::collision(const QString& term, const QString& exceptId) const {
    if (term.trimmed().isEmpty()) {
        return {};
    }
    const DictEntry* there = dictionary_.find(term.toStdString(), target_);
    return there == nullptr || wording::fromUtf8(there->id.text()) == exceptId
               ? QString()
               : QStringLiteral("%1 is already here.").arg(shown(*there));
}

bool DictionaryModel::add(const QString& term, const QString& hint) {
    if (!collision(term).isEmpty()) {
        return false;
    }
    const auto id = dictionary_.addTerm(term.toStdString(), hint.toStdString(), target_);
    if (id && terms_.rows().empty()) {
        // What is searched for would hide the new term.
        setSearch({});
    }
    return id.has_value();
}

bool DictionaryModel::edit(const QString& id, const QString& term, const QString& hint) {
    const Identifier entryId(id.toStdString());
    const auto before = std::ranges::find(dictionary_.entries(), entryId, &DictEntry::id);
    if (before == dictionary_.entries().end() || term.trimmed().isEmpty() || !collision(term, id).isEmpty()) {
        return false;
    }
    const DictEntry old = *before;
    dictionary_.editTerm(entryId, term.toStdString(), hint.toStdString());
    const auto after = std::ranges::find(dictionary_.entries(), entryId, &DictEntry::id);
    if (after != dictionary_.entries().end() && !(*after == old)) {
        toast_.say(QStringLiteral("Changed %1").arg(shown(*after)),
                   [this, old] { dictionary_.editTerm(old.id, old.term, old.hint); });
    }
    return true;
}

void DictionaryModel::remove(const QString& id) {
    const std::vector<Identifier> one{Identifier(id.toStdString())};
    auto deleted = dictionary_.deleteTerms(one);
    if (!deleted.empty()) {
        const QString name = shown(deleted.front().second);
        toast_.say(QStringLiteral("Deleted %1").arg(name),
                   [this, deleted = std::move(deleted)] { dictionary_.restore(deleted); });
    }
}

QStringList DictionaryModel::importHelp() const {
    QStringList lines;
    for (const std::string_view line : tolvik::importHelp) {
        lines << QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size()));
    }
    return lines;
}

QString DictionaryModel::importTargetId() const {
    return importTarget_ ? wording::fromUtf8(importTarget_->text()) : QString();
}

void DictionaryModel::setImportTargetId(const QString& id) {
    if (id != importTargetId()) {
        importTarget_ = toTarget(id);
        countImport();
    }
}

void DictionaryModel::setImportText(const QString& text) {
    if (text == importText_) {
        return;
    }
    importText_ = text;
    if (text.size() <= kCountedAtOnce) {
        countImport();
    } else {
        counting_.start();
    }
}

int DictionaryModel::colorOf(const QString& projectId) const {
    const TagModel* tag = store_.tagById(Identifier(projectId.toStdString()));
    return tag != nullptr ? static_cast<int>(tag->colorIndex) : -1;
}

void DictionaryModel::beginImport() {
    importTarget_ = target_;
    importText_.clear();
    countImport();
}

void DictionaryModel::countImport() {
    counting_.stop();
    const ParsedImport parsed = parseImport(importText_.toStdString());
    const ImportPlan plan = planImport(parsed.terms, dictionary_.entries(), importTarget_);
    importCount_ = static_cast<int>(plan.fresh.size());
    importProblem_ =
        parsed.problem ? wording::fromUtf8(parsed.problem->text) + QStringLiteral(" It would be taken as plain lines.")
                       : QString();
    const auto found = static_cast<int>(parsed.terms.size());
    importCountText_ =
        QStringLiteral("%1 %2 found").arg(found).arg(found == 1 ? QStringLiteral("entry") : QStringLiteral("entries"));
    if (!plan.known.empty()) {
        QStringList names;
        for (std::size_t i = 0; i < std::min(plan.known.size(), kKnownNamed); ++i) {
            names << wording::fromUtf8(plan.known[i]);
        }
        if (plan.known.size() > kKnownNamed) {
            names << QStringLiteral("…");
        }
        importCountText_ +=
            QStringLiteral(", %1 already there: %2").arg(plan.known.size()).arg(names.join(QStringLiteral(", ")));
    }
    Q_EMIT importChanged();
}

void DictionaryModel::import() {
    auto ids = dictionary_.importEntries(importText_.toStdString(), importTarget_);
    const QString told = wording::fromUtf8(importedText(ids.size()));
    setTargetId(importTargetId());
    importText_.clear();
    countImport();
    if (ids.empty()) {
        toast_.say(told, kImportedMs);
    } else {
        toast_.say(told, kImportedMs, [this, ids = std::move(ids)] { dictionary_.deleteTerms(ids); });
    }
}

}  // namespace tolvik
