#pragma once

#include "server/api/message.h"

namespace tolvik::server {

/// Brings sign-in codes to their owners.
class CodeSender {
public:
    CodeSender() = default;
    CodeSender(const CodeSender&) = delete;
    CodeSender& operator=(const CodeSender&) = delete;
    virtual ~CodeSender() = default;

    /// Any thread; never blocks. A code that cannot be sent is lost: its owner asks for another.
    virtual void send(CodeMail mail) = 0;
};

}  // namespace tolvik::server
