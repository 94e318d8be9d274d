// The module configuration file with any text: what is registered, and what comes of it, is what a
// plain model of the file gives. The library's source is taken in here, as it reads the file once
// in a process: the target makes that undone.
#include "log/oxa_logger.cpp"  // NOLINT(bugprone-suspicious-include)

#include <cstdlib>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/input.h"
#include "support/lines.h"

namespace {

/// The names in use before the file is read.
void forget_names()
{
    for (const char*& name : dynamic_names) {
        std::free(const_cast<char*>(name));
        name = nullptr;
    }
    LOG_ModuleId_FirstFreeDynamic = kFixedModuleCount;
    config_read = false;
}

struct Model {
    std::vector<std::string> names;
    STATUS status = STATUS_SUCCESS;
};

std::uint32_t id_in(const std::vector<std::string>& names, const std::string& name)
{
    const auto found = std::find(names.begin(), names.end(), name);
    return static_cast<std::uint32_t>(found - names.begin());
}

/// All names after the file: each new one, until one is refused.
Model read(std::string_view text)
{
    Model model;
    for (std::uint32_t id = 0; id < kFixedModuleCount; ++id) {
        model.names.emplace_back(fixed_module_name(id));
    }
    for (const std::string& piece : fuzz::pieces_of(text, 32)) {
        const std::string name = fuzz::seen_of(piece);
        const bool known = id_in(model.names, name) < model.names.size();
        if (name.empty() || (!known && model.names.size() == kModuleCapacity)) {
            model.status = STATUS_NO_RESOURCES;
            break;
        }
        if (!known) {
            model.names.push_back(name);
        }
    }
    return model;
}

void check_names(const std::vector<std::string>& names)
{
    const auto count = static_cast<std::uint32_t>(names.size());
    FUZZ_CHECK(LOG_GetNumModules() == count);
    for (std::uint32_t id = kFixedModuleCount; id < count; ++id) {
        FUZZ_CHECK(LOG_IsModuleIdValid(id) == 1);
        FUZZ_CHECK(LOG_GetModuleName(id) == names[id]);
    }
    FUZZ_CHECK(LOG_IsModuleIdValid(count) == 0);
    FUZZ_CHECK(std::strcmp(LOG_GetModuleName(count), "Invalid") == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::File file(kConfigFile);
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    file.write(text);
    Model model = read(text);

    FUZZ_CHECK(LOG_ModuleIdReadConfig() == model.status);
    check_names(model.names);
    FUZZ_CHECK(LOG_ModuleIdReadConfig() == STATUS_COMPLETE);
    forget_names();

    // The same by way of a name that is wanted, here the last of the file.
    const std::string wanted = fuzz::seen_of(std::string(text.substr(text.rfind('\n') + 1)));
    std::uint32_t id = LOG_MODULE_GENERIC;
    if (!wanted.empty()) {
        id = id_in(model.names, wanted);
        if (id == kModuleCapacity) {
            id = LOG_MODULE_GENERIC;
        } else if (id == model.names.size()) {
            model.names.push_back(wanted);
        }
        FUZZ_CHECK(LOG_ModuleIdAssignDynamic(wanted.c_str()) == id);
        check_names(model.names);
    }
    forget_names();
    return 0;
}
