#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace tolvik::server {

/// One part of a form; looks into the body that was read.
struct FormPart {
    std::string name;
    /// Empty when none was given.
    std::string fileName;
    std::string_view bytes;
};

/// Reads a multipart/form-data body by the boundary in the content type, at most 16 parts with heads of at most 4 KB.
/// The error is a text for the sender. Any bytes.
[[nodiscard]] Result<std::vector<FormPart>, std::string> readMultipart(std::string_view contentType,
                                                                       std::string_view body);

}  // namespace tolvik::server
