#include "app/models/dictionary_model.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QPointer>
#include <algorithm>
#include <utility>

#include "app/models/wording.h"
#include "base/text.h"

namespace tolvik {
namespace {

/// Longer texts are read by a worker and shown in part: a field needs a tenth of a second to lay ten thousand lines
/// out.
constexpr qsizetype kLongText = 10'000;
constexpr qsizetype kShownOfLong = 4000;
/// More terms than that are deleted with a worker's help.
constexpr std::size_t kManyTerms = 500;
constexpr int kImportedMs = 4000;
constexpr std::size_t kKnownNamed = 3;

QString countedTerms(qsizetype count) {
    return QStringLiteral("%1 %2").arg(count).arg(count == 1 ? QStringLiteral("term") : QStringLiteral("terms"));
}

QString shown(const DictEntry& entry) {
    return wording::fromUtf8(entry.hint.empty() ? entry.term : entry.term + " (" + entry.hint + ")");
}

}  // namespace

struct DictionaryModel::ImportCount {
    int fresh = 0;
    QString text;
    QString problem;
};

DictionaryModel::DictionaryModel(DictionaryManager& dictionary, AppStore& store, ToastModel& toast,
                                 std::optional<Background> background, QObject* parent)
    : QObject(parent), dictionary_(dictionary), store_(store), toast_(toast), background_(background) {
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
    targets_.update(store_, dictionary_);
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
    if (!id) {
        return false;
    }
    if (terms_.rowCount() == 0) {
        // What is searched for would hide the new term.
        setSearch({});
    }
    const auto added = std::ranges::find(dictionary_.entries(), *id, &DictEntry::id);
    toast_.say(QStringLiteral("Added %1").arg(shown(*added)), [this, id = *id] { dictionary_.deleteTerm(id); });
    return true;
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
    importShown_.clear();
    if (importIsLong()) {
        const qsizetype lineEnd = text.indexOf(QLatin1Char('\n'), kShownOfLong);
        const qsizetype end = lineEnd >= 0 && lineEnd < 2 * kShownOfLong ? lineEnd : kShownOfLong;
        const auto shown = QStringView(text).first(end).count(QLatin1Char('\n'));
        const auto more = text.count(QLatin1Char('\n')) - shown + (text.endsWith(QLatin1Char('\n')) ? 0 : 1) - 1;
        importShown_ =
            text.first(end) + (more > 0 ? QStringLiteral("\n… and %L1 more lines").arg(more) : QStringLiteral("…"));
    }
    countImport();
}

bool DictionaryModel::importIsLong() const {
    return importText_.size() > kLongText;
}

bool DictionaryModel::pasteLong(const QString& before, const QString& after) {
    const QString pasted = QGuiApplication::clipboard()->text();
    if (importIsLong()) {
        const bool endsLine = importText_.endsWith(QLatin1Char('\n'));
        setImportText(importText_ + (endsLine ? QString() : QStringLiteral("\n")) + pasted);
        return true;
    }
    if (before.size() + pasted.size() + after.size() <= kLongText) {
        return false;
    }
    setImportText(before + pasted + after);
    return true;
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
    const std::uint64_t number = ++countNumber_;
    if (!importIsLong() || !background_) {
        show(countOf(importText_, dictionary_.entries(), importTarget_));
        return;
    }
    importCount_ = 0;
    importProblem_.clear();
    importCountText_ = QStringLiteral("Counting …");
    Q_EMIT importChanged();
    background_->workers.run([model = QPointer(this), &loop = background_->loop, number, text = importText_,
                              entries = dictionary_.entries(), target = importTarget_] {
        loop.post([model, number, count = countOf(text, entries, target)] {
            if (model && model->countNumber_ == number) {
                model->show(count);
            }
        });
    });
}

DictionaryModel::ImportCount DictionaryModel::countOf(const QString& text, std::span<const DictEntry> entries,
                                                      const std::optional<Identifier>& tagId) {
    const ParsedImport parsed = parseImport(text.toStdString());
    const ImportPlan plan = planImport(parsed.terms, entries, tagId);
    ImportCount count;
    count.fresh = static_cast<int>(plan.fresh.size());
    if (parsed.problem) {
        count.problem = wording::fromUtf8(parsed.problem->text) + QStringLiteral(" It would be taken as plain lines.");
    }
    const auto found = static_cast<int>(parsed.terms.size());
    count.text =
        QStringLiteral("%1 %2 found").arg(found).arg(found == 1 ? QStringLiteral("entry") : QStringLiteral("entries"));
    if (!plan.known.empty()) {
        QStringList names;
        for (std::size_t i = 0; i < std::min(plan.known.size(), kKnownNamed); ++i) {
            names << wording::fromUtf8(plan.known[i]);
        }
        if (plan.known.size() > kKnownNamed) {
            names << QStringLiteral("…");
        }
        count.text +=
            QStringLiteral(", %1 already there: %2").arg(plan.known.size()).arg(names.join(QStringLiteral(", ")));
    }
    return count;
}

void DictionaryModel::show(const ImportCount& count) {
    importCount_ = count.fresh;
    importCountText_ = count.text;
    importProblem_ = count.problem;
    Q_EMIT importChanged();
}

void DictionaryModel::import() {
    const bool isLong = importIsLong();
    std::string text = importText_.toStdString();
    setTargetId(importTargetId());
    importText_.clear();
    countImport();
    if (isLong && background_) {
        dictionary_.importLater(background_->workers, std::move(text), importTarget_,
                                [model = QPointer(this)](std::vector<Identifier> ids) {
                                    if (model) {
                                        model->imported(std::move(ids));
                                    }
                                });
    } else {
        imported(dictionary_.importEntries(text, importTarget_));
    }
}

void DictionaryModel::imported(std::vector<Identifier> ids) {
    const QString told = wording::fromUtf8(importedText(ids.size()));
    if (ids.empty()) {
        toast_.say(told, kImportedMs);
        return;
    }
    toast_.say(told, kImportedMs, [this, ids = std::move(ids)] {
        if (ids.size() > kManyTerms && background_) {
            dictionary_.deleteLater(background_->workers, ids, [] {});
        } else {
            dictionary_.deleteTerms(ids);
        }
    });
}

}  // namespace tolvik
