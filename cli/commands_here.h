#pragma once

#include "commands/command_message.h"
#include "services/paths.h"

namespace tolvik {

// The commands that this process carries out itself, at least in part. Each writes its output.

/// Sentences from the arguments or, line by line as they come, from the standard input.
[[nodiscard]] ExitCode runParse(const Paths& paths, const CommandRequest& request);
/// Recognises a recording and has its sentence carried out.
[[nodiscard]] ExitCode runHear(const Paths& paths, const CommandRequest& request);
/// Writes the entries of a range to files.
[[nodiscard]] ExitCode runExport(const Paths& paths, const CommandRequest& request);
[[nodiscard]] ExitCode runDoctor(const Paths& paths, const CommandRequest& request);
/// Starts the desktop application, or raises the window of the one that runs.
[[nodiscard]] ExitCode runDesktop(const Paths& paths);

/// Writes a response where it belongs. The response's exit code, or 3 when the output does not take it.
[[nodiscard]] ExitCode print(const CommandResponse& response);
/// A refusal in words, and with --json as an object.
[[nodiscard]] CommandResponse refused(const CommandRequest& request, ExitCode exit, const std::string& why);

}  // namespace tolvik
