// Serialised variants as text: an indented tree to read, and JSON that can be turned back.
#pragma once

#include <string>

#include "codes/variant_reader.h"

namespace commonctl {

/// Makes one of the forms, part by part.
class VariantText : public VariantSink {
public:
    /// Ends a variant: broken, or whole.
    virtual void end(const std::optional<BrokenVariant>& broken) = 0;

    /// Gives what was made since it was last asked.
    std::string take()
    {
        std::string made;
        made.swap(text_);
        return made;
    }

protected:
    std::string text_;
};

/// A line for each variant: the byte that it begins at, type and value, indented as it is nested.
class VariantTree : public VariantText {
public:
    /// @param size of all bytes, for the width of the column that tells where.
    explicit VariantTree(std::size_t size);

    void word(std::size_t at, std::uint32_t type, std::uint32_t bits) override;
    void text(std::size_t at, std::string_view text, std::string_view padding) override;
    void empty(std::size_t at, std::uint32_t type) override;
    void begin_array(std::size_t at, std::uint32_t count) override;
    void end_array() override;
    void end(const std::optional<BrokenVariant>& broken) override;

private:
    void line(std::size_t at, const std::string& what);

    std::size_t width_;
    std::size_t depth_ = 0;
};

/// One object of JSON a line for each outermost variant; variant_json.h tells what is in it. A
/// broken one has {"type":"broken","at":BYTE,"why":TEXT} at the place where it ends.
class VariantJson : public VariantText {
public:
    void word(std::size_t at, std::uint32_t type, std::uint32_t bits) override;
    void text(std::size_t at, std::string_view text, std::string_view padding) override;
    void empty(std::size_t at, std::uint32_t type) override;
    void begin_array(std::size_t at, std::uint32_t count) override;
    void end_array() override;
    void end(const std::optional<BrokenVariant>& broken) override;

private:
    void object(const char* type, const std::string& members);

    std::size_t depth_ = 0;
    bool first_ = true;  ///< in its array
};

}  // namespace commonctl
