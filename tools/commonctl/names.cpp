#include <algorithm>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "codes/names.h"
#include "codes/streams.h"
#include "command_line.h"
#include "subcommands.h"
#include "terminal.h"

namespace commonctl {
namespace {

enum class Form { Text, Json };

struct NameOptions {
    const CodeTable* table = nullptr;
    Form form = Form::Text;
    std::string wanted;  ///< empty for all
};

std::string line_of(const Code& code, std::size_t width)
{
    char number[16];
    std::snprintf(number, sizeof number, "%5u  ", static_cast<unsigned>(code.number));
    std::string line = number + printable(code.text);
    if (!code.symbol.empty()) {
        line.append(width - code.text.size() + 2, ' ');
        line += code.symbol;
    }
    return line + "\n";
}

std::string object_of(const Code& code)
{
    nlohmann::ordered_json object = {{"code", code.number}, {"text", code.text}};
    if (!code.symbol.empty()) {
        object["symbol"] = code.symbol;
    }
    // A name from a file may be no UTF-8.
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

int show_names(const NameOptions& options)
{
    const std::vector<Code> all = options.table->codes();
    const std::vector<Code> codes = options.wanted.empty() ? all : find_codes(all, options.wanted);
    if (codes.empty()) {
        const std::string name = options.table->name;
        throw std::runtime_error("there is no " + name + " \"" + printable(options.wanted) +
                                 "\"; \"commonctl " + name + "\" lists all");
    }
    std::size_t width = 0;
    for (const Code& code : codes) {
        width = std::max(width, code.text.size());
    }
    std::string text;
    for (const Code& code : codes) {
        text += options.form == Form::Text ? line_of(code, width) : object_of(code);
    }
    write_output(text);
    flush_output();
    return kSuccess;
}

}  // namespace

void add_names(Tool& tool)
{
    for (const CodeTable& table : code_tables()) {
        auto [line, options] = tool.add<NameOptions>(
            table.name, table.summary,
            std::string(table.about) +
                "\nWithout CODE all of them. A CODE is a number (decimal, or hexadecimal with "
                "\"0x\"), or\na whole text or name in whatever case.",
            show_names);
        options.table = &table;
        line.word("-o,--output", "FORM", options.form,
                  "Show as text (the default) or json, an object a line",
                  {{"text", Form::Text}, {"json", Form::Json}});
        line.option("CODE", "", options.wanted, "Number or text");
        const std::string call = std::string("  commonctl ") + table.name;
        line.examples(call + "\n" + call + " " + table.example + "\n" + call + " -o json 4");
    }
}

}  // namespace commonctl
