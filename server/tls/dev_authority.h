#pragma once

#include <filesystem>
#include <string>

#include "base/result.h"

namespace tolvik::server {

/// The files of a certificate authority of one's own, for trying the server on one machine.
struct DevCertificates {
    /// What a client has to trust.
    std::filesystem::path authority;
    std::filesystem::path certificate;
    std::filesystem::path key;
};

/// Makes an authority and a certificate for localhost, 127.0.0.1 and ::1 in `folder`, or gives those that a previous
/// start left there as long as they are valid for another week; the authority's own key is never written. Keys are
/// readable for the owner alone. The error is for the user.
[[nodiscard]] Result<DevCertificates, std::string> devCertificates(const std::filesystem::path& folder);

}  // namespace tolvik::server
