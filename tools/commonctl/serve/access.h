// Who may ask the server for what.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "serve/http.h"

namespace commonctl {

/// A random number that nobody guesses.
/// @param bytes its length.
/// @return as hexadecimal text. @throws std::system_error
std::string random_hex(std::size_t bytes);

/// Compares two texts in a time that does not depend on where they differ.
bool same_secret(std::string_view given, std::string_view secret);

/// Rules for requests. Names are checked, so that a page from elsewhere, in the browser of somebody
/// at this machine, gets nothing, whatever name its own server takes on.
class Access {
public:
    struct Rules {
        std::string token{};         ///< empty when there is none
        bool token_for_all = false;  ///< or only for changes
        bool allow_changes = false;
        bool loopback_only = true;
    };

    explicit Access(Rules rules) : rules_(std::move(rules)) {}

    struct Refusal {
        int status;
        std::string text;
    };

    /// Looks at a request before anything is done. Nothing but what is below /api/ is worth
    /// protecting: the page itself is the same everywhere.
    std::optional<Refusal> refusal(const httplib::Request& request) const;

    /// Whether a request may change something.
    bool may_change(const httplib::Request& request) const;

    bool allows_changes() const { return rules_.allow_changes; }
    bool has_token(const httplib::Request& request) const;

private:
    bool is_our_name(const std::string& host) const;

    Rules rules_;
};

}  // namespace commonctl
