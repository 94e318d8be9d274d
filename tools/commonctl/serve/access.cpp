#include "serve/access.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <sys/random.h>
#include <system_error>
#include <unistd.h>

namespace commonctl {
namespace {

constexpr std::string_view kBearer = "Bearer ";

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// The name or address of a Host field, without its port and the brackets of IPv6.
std::string name_of(const std::string& host)
{
    if (host.starts_with('[')) {
        const auto end = host.find(']');
        return end == host.npos ? "" : host.substr(1, end - 1);
    }
    return lower(host.substr(0, host.find(':')));
}

bool is_address(const std::string& name)
{
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, name.c_str(), address) == 1 ||
           inet_pton(AF_INET6, name.c_str(), address) == 1;
}

std::string host_name()
{
    char name[256] = "";
    return gethostname(name, sizeof name - 1) == 0 ? lower(name) : "";
}

/// Fields that may stand once: two are an attempt to be read differently by two readers.
bool is_repeated(const httplib::Request& request, const char* field)
{
    return request.get_header_value_count(field) > 1;
}

}  // namespace

std::string random_hex(std::size_t bytes)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    while (text.size() < 2 * bytes) {
        unsigned char byte = 0;
        if (getrandom(&byte, 1, 0) != 1) {
            if (errno == EINTR) {
                continue;
            }
            throw std::system_error(errno, std::generic_category(), "no random numbers");
        }
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

bool same_secret(std::string_view given, std::string_view secret)
{
    unsigned difference = given.size() == secret.size() ? 0 : 1;
    for (std::size_t i = 0; i < secret.size(); ++i) {
        const char c = i < given.size() ? given[i] : '\0';
        difference |= static_cast<unsigned>(static_cast<unsigned char>(c ^ secret[i]));
    }
    return difference == 0;
}

/** A name may lead anywhere, also here: only those are taken that are this machine's. An address
 * leads to where it says. */
bool Access::is_our_name(const std::string& host) const
{
    const std::string name = name_of(host);
    if (rules_.loopback_only) {
        return name == "localhost" || name == "127.0.0.1" || name == "::1";
    }
    return name == "localhost" || is_address(name) || (!name.empty() && name == host_name());
}

bool Access::has_token(const httplib::Request& request) const
{
    const std::string given = request.get_header_value("Authorization");
    return !rules_.token.empty() && given.starts_with(kBearer) &&
           same_secret(std::string_view(given).substr(kBearer.size()), rules_.token);
}

bool Access::may_change(const httplib::Request& request) const
{
    return rules_.allow_changes && has_token(request);
}

std::optional<Access::Refusal> Access::refusal(const httplib::Request& request) const
{
    for (const char* const field : {"Host", "Origin", "Authorization", "Sec-Fetch-Site"}) {
        if (is_repeated(request, field)) {
            return Refusal{400, std::string(field) + " stands there twice"};
        }
    }
    const std::string host = request.get_header_value("Host");
    if (!is_our_name(host)) {
        return Refusal{421, "this server has another name; use the address that it printed"};
    }
    if (!request.path.starts_with("/api/")) {
        return std::nullopt;
    }
    const std::string origin = request.get_header_value("Origin");
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    if ((!origin.empty() && lower(origin) != "http://" + lower(host)) ||
        (!site.empty() && site != "same-origin" && site != "none")) {
        return Refusal{403, "pages from elsewhere get nothing here"};
    }
    if (rules_.token_for_all && !has_token(request)) {
        return Refusal{401,
                       "the token is missing or wrong; use the address that commonctl printed"};
    }
    // A page from elsewhere can send a form, but not with a field of its own.
    if (request.method == "POST" && request.get_header_value("X-Commonctl") != "page") {
        return Refusal{403, "the field \"X-Commonctl: page\" is missing"};
    }
    return std::nullopt;
}

}  // namespace commonctl
