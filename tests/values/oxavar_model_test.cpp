// Thousands of random steps on variants and on a plain model of them, compared after each step.
#include <cstdint>
#include <cstring>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "variants.h"

namespace {

/// What a variant should hold.
struct Model {
    std::uint32_t type = OXAVAR_TYPE_NONE;
    std::uint32_t word = 0;
    std::string text;
    std::vector<Model> elements;
};

void append_word(Bytes& bytes, std::uint32_t value)
{
    const Bytes more = word(value);
    bytes.insert(bytes.end(), more.begin(), more.end());
}

void append_form(Bytes& bytes, const Model& model)
{
    append_word(bytes, model.type);
    if (model.type == OXAVAR_TYPE_NONE) {
        return;
    }
    if (model.type == OXAVAR_TYPE_STRING) {
        append_word(bytes, static_cast<std::uint32_t>(model.text.size()));
        bytes.insert(bytes.end(), model.text.begin(), model.text.end());
        bytes.resize((bytes.size() + 3) / 4 * 4);
    } else if (model.type == OXAVAR_TYPE_ARRAY) {
        append_word(bytes, static_cast<std::uint32_t>(model.elements.size()));
        for (const Model& element : model.elements) {
            append_form(bytes, element);
        }
    } else {
        append_word(bytes, model.word);
    }
}

/// Two variants and their models, and random steps on parts of them.
class Walk {
public:
    explicit Walk(std::uint32_t seed) : random_(seed) {}

    ~Walk()
    {
        for (COMMON_OXAVar& var : vars_) {
            COMMON_OXAVarClear(&var);
        }
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    void step()
    {
        const std::size_t which = below(2);
        COMMON_OXAVar* var = &vars_[which];
        Model* model = &models_[which];
        unsigned depth = 0;
        while (model->type == OXAVAR_TYPE_ARRAY && !model->elements.empty() && below(4) != 0) {
            const auto index = below(static_cast<std::uint32_t>(model->elements.size()));
            var = &var->value.elements[index];
            model = &model->elements[index];
            ++depth;
        }
        change(*var, *model, depth, 1 - which);
    }

    void compare() const
    {
        for (std::size_t which = 0; which < 2; ++which) {
            expect_equal(vars_[which], models_[which]);
            Bytes form;
            append_form(form, models_[which]);
            ASSERT_EQ(serialized(vars_[which]), form);
        }
    }

private:
    std::uint32_t number() { return static_cast<std::uint32_t>(random_()); }
    std::uint32_t below(std::uint32_t end) { return number() % end; }

    void change(COMMON_OXAVar& var, Model& model, unsigned depth, std::size_t other)
    {
        const std::uint32_t value = number();
        switch (below(9)) {
        case 0:
            COMMON_OXAVarSetInt(&var, static_cast<std::int32_t>(value));
            model = {OXAVAR_TYPE_INT, value, {}, {}};
            break;
        case 1: {
            const auto real = static_cast<float>(value);
            COMMON_OXAVarSetFloat(&var, real);
            model = {OXAVAR_TYPE_FLOAT, 0, {}, {}};
            std::memcpy(&model.word, &real, sizeof real);
            break;
        }
        case 2:
            model = {OXAVAR_TYPE_STRING, 0, std::string(below(40), 'x'), {}};
            COMMON_OXAVarSetString(&var, model.text.c_str());
            break;
        case 3:
            COMMON_OXAVarSetPVoid(&var, pointer_of(std::uintptr_t{value}));
            model = {OXAVAR_TYPE_PVOID, value, {}, {}};
            break;
        case 4: {
            const std::uint32_t count = depth < 6 ? below(6) : 0;
            COMMON_OXAVarArrayAllocAt(&var, count);
            model = {OXAVAR_TYPE_ARRAY, 0, {}, std::vector<Model>(count)};
            break;
        }
        case 5: {
            const std::uint32_t count = below(6);
            COMMON_OXAVarArrayRealloc(&var, count);
            if (model.type == OXAVAR_TYPE_ARRAY) {
                model.elements.resize(count);
            }
            break;
        }
        case 6:
            // Not into the depth: the trees would outgrow everything.
            COMMON_OXAVarCopy(&vars_[other], &var);
            models_[other] = Model(model);
            break;
        case 7:
            reread(var);
            break;
        default:
            if (below(4) == 0) {
                COMMON_OXAVarClear(&var);
                model = {};
            }
        }
    }

    /// Through the serialised form, by both readers.
    void reread(COMMON_OXAVar& var)
    {
        const Bytes form = serialized(var);
        const auto size = static_cast<std::uint32_t>(form.size());
        if (below(2) == 0) {
            ASSERT_EQ(COMMON_OXAVarDeserialize(form.data(), &var), size);
        } else {
            std::uint32_t consumed = 0;
            ASSERT_EQ(COMMON_OXAVarDeserializeBounded(form.data(), size, &var, &consumed),
                      STATUS{STATUS_SUCCESS});
            ASSERT_EQ(consumed, size);
        }
    }

    static void expect_equal(const COMMON_OXAVar& var, const Model& model)
    {
        ASSERT_EQ(var.type, model.type);
        ASSERT_EQ(var.count, model.elements.size());
        if (model.type == OXAVAR_TYPE_STRING) {
            ASSERT_EQ(var.value.text, model.text);
        } else if (model.type == OXAVAR_TYPE_ARRAY) {
            ASSERT_EQ(var.value.elements == nullptr, model.elements.empty());
            for (std::uint32_t index = 0; index < var.count; ++index) {
                expect_equal(var.value.elements[index], model.elements[index]);
            }
        } else {
            ASSERT_EQ(var.value.word, model.word);
        }
    }

    std::mt19937 random_;
    COMMON_OXAVar vars_[2]{};
    Model models_[2];
};

void run(std::uint32_t seed)
{
    Walk walk(seed);
    for (int step = 0; step < 50'000; ++step) {
        walk.step();
        walk.compare();
        ASSERT_FALSE(testing::Test::HasFatalFailure()) << "seed " << seed << ", step " << step;
    }
}

TEST(OXAVarModel, FixedSeed)
{
    run(20240101);
}

TEST(OXAVarModel, AnotherSeedEachTime)
{
    const std::uint32_t seed = std::random_device{}();
    std::cout << "seed " << seed << "\n";
    run(seed);
}

}  // namespace
