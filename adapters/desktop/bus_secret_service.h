#pragma once

#include <functional>
#include <string>

class QObject;

namespace tolvik {

/// Whether the session bus has a secret service or can start one, without asking it anything: a question might make it
/// ask the user for a password. `done` is called once, on `context`'s thread while that lives, with what is missing and
/// how to get it; empty when nothing is. Main thread only.
void lookForSecretService(QObject& context, std::function<void(std::string problem)> done);

}  // namespace tolvik
