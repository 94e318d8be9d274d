// What "commonctl flash" reads of the reports of a check, with any text in them and any bytes in
// the paths: as a plain model reads them. The input: the reports; a 1 stands for what begins each,
// and bytes from 2 to 4 for what reports say.
#include <string>
#include <vector>

#include "flash/check.h"
#include "support/input.h"

namespace {

/// The text that an input stands for.
std::string text_of(const std::uint8_t* data, std::size_t size)
{
    const std::string begin = std::string(commonctl::kFlashReport);
    std::string text;
    for (const std::uint8_t byte : std::vector<std::uint8_t>(data, data + size)) {
        switch (byte) {
        case 1:
            text += begin;
            break;
        case 2:
            text += "Detected corruption in file/dir: ";
            break;
        case 3:
            text += "getenv(\"";
            break;
        case 4:
            text += "Too many directory levels (99), assuming corruption";
            break;
        default:
            text += static_cast<char>(byte);
        }
    }
    return text;
}

/// What is behind the first of some words; nothing when they are not there.
bool behind(const std::string& report, const std::string& words, std::string& rest)
{
    const auto at = report.find(words);
    if (at != std::string::npos) {
        rest = report.substr(at + words.size());
    }
    return at != std::string::npos;
}

/// The reports, each without a line end at its end: the next one begins in a line of its own.
std::vector<std::string> reports_of(std::string text)
{
    const std::string separator = "\n" + std::string(commonctl::kFlashReport);
    std::vector<std::string> reports{""};
    while (!text.empty()) {
        if (text.starts_with(separator)) {
            reports.emplace_back(commonctl::kFlashReport);
            text.erase(0, separator.size());
        } else {
            reports.back() += text[0];
            text.erase(0, 1);
        }
    }
    for (std::string& report : reports) {
        if (report.ends_with('\n')) {
            report.pop_back();
        }
    }
    return reports;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = text_of(data, size < 512 ? size : 512);
    commonctl::FlashReports expected;
    for (const std::string& report : reports_of(text)) {
        std::string rest;
        if (behind(report, "Detected corruption in file/dir: ", rest)) {
            expected.path = rest;
        } else if (behind(report, "getenv(\"", rest)) {
            expected.missing.push_back(rest.substr(0, rest.find('"')));
        } else if (behind(report, "Too many directory levels", rest)) {
            expected.too_deep = true;
        }
    }
    const commonctl::FlashReports found = commonctl::read_flash_reports(text);
    FUZZ_CHECK(found.path == expected.path);
    FUZZ_CHECK(found.missing == expected.missing);
    FUZZ_CHECK(found.too_deep == expected.too_deep);
    return 0;
}
