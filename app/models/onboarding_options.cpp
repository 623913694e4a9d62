#include "app/models/onboarding_options.h"

#include <QString>
#include <QVariantMap>
#include <initializer_list>
#include <utility>

namespace tolvik::onboardingOptions {
namespace {

QVariantList listOf(std::initializer_list<std::pair<const char*, const char*>> options) {
    QVariantList list;
    for (const auto& [id, name] : options) {
        list << QVariantMap{{QStringLiteral("id"), QString::fromLatin1(id)},
                            {QStringLiteral("name"), QString::fromLatin1(name)}};
    }
    return list;
}

}  // namespace

QVariantList roles() {
    return listOf({{"engineer", "Engineer / Developer"},
                   {"designer", "Designer"},
                   {"founder", "Founder / Operator"},
                   {"consultant", "Consultant / Freelancer"},
                   {"manager", "Manager"},
                   {"student", "Student"},
                   {"other", "Something else"}});
}

QVariantList useCases() {
    return listOf({{"billing", "Bill clients accurately"},
                   {"insight", "Understand where my time goes"},
                   {"focus", "Stay focused on one thing at a time"},
                   {"reports", "Generate reports for my team"},
                   {"personal", "Track personal projects"},
                   {"trying", "Just trying it out"}});
}

QVariantList sources() {
    return listOf({{"friend", "Friend or colleague"},
                   {"forum", "Hacker News / Reddit"},
                   {"search", "Search engine"},
                   {"social", "Social media"},
                   {"article", "Article or podcast"},
                   {"packages", "Package manager"},
                   {"other", "Somewhere else"}});
}

}  // namespace tolvik::onboardingOptions
