/**
 * @file instances.h
 * Templates that most tests use with the same types: compiled once, in instances.cpp, not in each
 * of them. It takes a quarter off the time to compile a test. Nothing is declared here; the file is
 * part of the headers that tests have precompiled.
 */
#ifndef BENCH_INSTANCES_H
#define BENCH_INSTANCES_H

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fresh_process.h"
#include "log_expect.h"
#include "log_matchers.h"

// BENCH_INSTANCES(X) calls X with each explicit instantiation, without its "template".
#define BENCH_VECTOR(X, type)                                         \
    X(class std::vector<type>)                                        \
    X(class std::vector<testing::Matcher<const type&>>)               \
    X(class testing::internal::MatcherBase<const type&>)              \
    X(class testing::internal::MatcherBase<const std::vector<type>&>) \
    X(class testing::internal::ElementsAreMatcherImpl<const std::vector<type>&>)

#define BENCH_INSTANCES(X)                                                                         \
    X(class std::basic_string<char>)                                                               \
    X(class testing::internal::MatcherBase<const bench::Outcome&>)                                 \
    X(class testing::internal::PredicateFormatterFromMatcher<                                      \
        testing::Matcher<const bench::Outcome&>>)                                                  \
    X(testing::AssertionResult testing::internal::PredicateFormatterFromMatcher<                   \
        testing::Matcher<const bench::Outcome&>>::operator()(const char*, const bench::Outcome&)   \
          const)                                                                                   \
    X(bool testing::internal::MatchPrintAndExplain(const bench::Outcome&,                          \
                                                   const testing::Matcher<const bench::Outcome&>&, \
                                                   testing::MatchResultListener*))                 \
    X(bool testing::internal::MatchPrintAndExplain(                                                \
        const std::vector<bench::LogRecord>&,                                                      \
        const testing::Matcher<const std::vector<bench::LogRecord>&>&,                             \
        testing::MatchResultListener*))                                                            \
    X(testing::AssertionResult testing::internal::CmpHelperEQFailure(const char*, const char*,     \
                                                                     const int&, const int&))      \
    X(testing::AssertionResult testing::internal::CmpHelperEQFailure(                              \
        const char*, const char*, const unsigned&, const unsigned&))                               \
    BENCH_VECTOR(X, bench::LogRecord)                                                              \
    BENCH_VECTOR(X, bench::Report)

#define BENCH_DECLARE_INSTANCE(...) extern template __VA_ARGS__;
BENCH_INSTANCES(BENCH_DECLARE_INSTANCE)
#undef BENCH_DECLARE_INSTANCE

#endif
