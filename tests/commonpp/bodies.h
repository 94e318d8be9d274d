// Test bodies that are compiled twice: as tests of the framework, and into a plain program in C++17
// without exceptions and type information (COMMONPP_PLAIN), which the framework cannot be. There
// each body is a function that the program runs.
#pragma once

#include <atomic>
#include <mutex>

#include <commonpp/commonpp.hpp>

#ifdef COMMONPP_PLAIN

namespace plain {

/// One body, in a list of all of them.
struct Body {
    const char* name;
    void (*run)();
    Body* next;
    Body(const char* given_name, void (*given_run)());
};

/// Notes and prints a failed check.
void check(bool holds, const char* what, const char* file, int line);

}  // namespace plain

#define BODY(suite, name)                                                                     \
    static void suite##_##name##_Body();                                                      \
    static const plain::Body suite##_##name##_entry{#suite "." #name, suite##_##name##_Body}; \
    static void suite##_##name##_Body()
#define CHECK(condition) plain::check((condition), #condition, __FILE__, __LINE__)
#define CHECK_EQ(left, right) \
    plain::check((left) == (right), #left " == " #right, __FILE__, __LINE__)

#else

#include <gmock/gmock.h>

#include "fresh_process.h"

#define BODY(suite, name) FRESH_TEST(suite, name)
#define CHECK(condition) EXPECT_TRUE(condition)
#define CHECK_EQ(left, right) EXPECT_EQ(left, right)

#endif

/// A flag that one thread sets and others wait for; a hang is ended by the test's time limit.
class Flag {
public:
    void set()
    {
        const std::lock_guard<commonpp::monitor> held(monitor_);
        set_ = true;
        monitor_.notify_all();
    }
    void wait()
    {
        const std::lock_guard<commonpp::monitor> held(monitor_);
        monitor_.wait([this] { return set_; });
    }
    bool is_set()
    {
        const std::lock_guard<commonpp::monitor> held(monitor_);
        return set_;
    }

private:
    commonpp::monitor monitor_;
    bool set_ = false;
};

/// Counts its instances: whether what was kept is destroyed, and when.
class Counted {
public:
    explicit Counted(std::atomic<int>& alive) : alive_(&alive) { ++*alive_; }
    Counted(const Counted& other) : alive_(other.alive_) { ++*alive_; }
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --*alive_; }

private:
    std::atomic<int>* alive_;
};
