// Templates that most tests use with the same types: compiled once, in instances.cpp, not in each
// of them. It takes a quarter off the time to compile a test. Nothing is declared here; the file is
// part of the headers that tests have precompiled.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fresh_process.h"
#include "log_expect.h"

// HARNESS_INSTANCES(X) calls X with each explicit instantiation, without its "template".
#define HARNESS_VECTOR(X, type)                                       \
    X(class std::vector<type>)                                        \
    X(class std::vector<testing::Matcher<const type&>>)               \
    X(class testing::internal::MatcherBase<const type&>)              \
    X(class testing::internal::MatcherBase<const std::vector<type>&>) \
    X(class testing::internal::ElementsAreMatcherImpl<const std::vector<type>&>)

#define HARNESS_INSTANCES(X)                                                                   \
    X(class std::basic_string<char>)                                                           \
    X(class testing::internal::MatcherBase<const harness::Outcome&>)                           \
    X(class testing::internal::PredicateFormatterFromMatcher<                                  \
        testing::Matcher<const harness::Outcome&>>)                                            \
    X(testing::AssertionResult testing::internal::PredicateFormatterFromMatcher<               \
        testing::Matcher<const harness::Outcome&>>::operator()(const char*,                    \
                                                               const harness::Outcome&) const) \
    X(bool testing::internal::MatchPrintAndExplain(                                            \
        const harness::Outcome&, const testing::Matcher<const harness::Outcome&>&,             \
        testing::MatchResultListener*))                                                        \
    X(bool testing::internal::MatchPrintAndExplain(                                            \
        const std::vector<support::LogRecord>&,                                                \
        const testing::Matcher<const std::vector<support::LogRecord>&>&,                       \
        testing::MatchResultListener*))                                                        \
    X(testing::AssertionResult testing::internal::CmpHelperEQFailure(const char*, const char*, \
                                                                     const int&, const int&))  \
    X(testing::AssertionResult testing::internal::CmpHelperEQFailure(                          \
        const char*, const char*, const unsigned&, const unsigned&))                           \
    HARNESS_VECTOR(X, support::LogRecord)                                                      \
    HARNESS_VECTOR(X, harness::Report)

#define HARNESS_DECLARE_INSTANCE(...) extern template __VA_ARGS__;
HARNESS_INSTANCES(HARNESS_DECLARE_INSTANCE)
#undef HARNESS_DECLARE_INSTANCE
