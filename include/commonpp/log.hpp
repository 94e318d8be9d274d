/**
 * @file log.hpp
 * Zones that write records, with the caller's file, function and line and a checked format:
 *
 *     constexpr commonpp::zone tuner{"TUNER"};
 *     ...
 *     tuner.warn()("cannot read %s: %m", path);
 *     COMMONPP_LOG(tuner.debug(), "%zu stations: %s", stations.size(), listed(stations).c_str());
 *
 * The level's function takes the place of the call as default arguments, and the parentheses behind
 * it are a printf, so that the compiler compares format and values: one function could not have
 * both. A call evaluates its values in any case; the macro only where the record is wanted, as
 * nothing but a macro can. Both ask COMMON_Log_Acceptable() once; common_log_macros.h has
 * macros with limits, such as COMMON_LOG_ONCE. All may be called from any thread, as common_log.h
 * says.
 */
#pragma once

#include <cstdarg>
#include <cstdint>

#include <common/common_log.h>

namespace commonpp {

/** A record to be written, or not, if its level is not wanted. It ends with the expression. */
class [[nodiscard]] log_record {
public:
    /** As the functions of a zone make it. */
    log_record(COMMON_LogLevel_t level, const char* name, const char* file, const char* function,
               int line) noexcept
        : level_(level), name_(name), file_(file), function_(function), line_(line),
          wanted_(COMMON_Log_Acceptable(level) != 0)
    {
    }
    log_record(const log_record&) = delete;
    log_record& operator=(const log_record&) = delete;

    /** Tells whether the record is wanted. */
    explicit operator bool() const noexcept { return wanted_; }

    /**
     * Writes the record if it is wanted, as COMMON_Log_Write() does.
     * @param format printf format of the message.
     */
    COMMON_PRINTF(2, 3) void operator()(const char* format, ...) const
    {
        if (!wanted_) {
            return;
        }
        std::va_list values;
        va_start(values, format);
        COMMON_Log_WriteV(level_, kNoZone, name_, file_, function_, line_, format, values);
        va_end(values);
    }

private:
    static constexpr std::uint32_t kNoZone = 4095;

    COMMON_LogLevel_t level_;
    const char* name_;
    const char* file_;
    const char* function_;
    int line_;
    bool wanted_;
};

/** Who logs. A constant, which costs nothing to make. */
class zone {
public:
    /** @param name not copied; null is empty. That of a module is LOG_GetModuleName(). */
    constexpr explicit zone(const char* name) noexcept : name_(name) {}

/** @cond */
#define COMMONPP_LEVEL(function_name, level)                              \
    log_record function_name(const char* file = __builtin_FILE(),         \
                             const char* function = __builtin_FUNCTION(), \
                             int line = __builtin_LINE()) const noexcept  \
    {                                                                     \
        return {level, name_, file, function, line};                      \
    }
    /** @endcond */
    /** A record at Fatal, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(fatal, COMMON_LogLevelFatal)
    /** A record at Critical, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(critical, COMMON_LogLevelCritical)
    /** A record at Error, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(error, COMMON_LogLevelError)
    /** A record at Warn, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(warn, COMMON_LogLevelWarn)
    /** A record at Note, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(note, COMMON_LogLevelNote)
    /** A record at Info, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(info, COMMON_LogLevelInfo)
    /** A record at Debug, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(debug, COMMON_LogLevelDebug)
    /** A record at Verbose, from where it is called: leave the arguments out. */
    COMMONPP_LEVEL(verbose, COMMON_LogLevelVerbose)
#undef COMMONPP_LEVEL

private:
    const char* name_;
};

}  // namespace commonpp

/**
 * Writes a record whose values are evaluated only if it is wanted.
 * @param record such as `tuner.warn()`; behind it the printf format and its values.
 */
#define COMMONPP_LOG(record, ...)                     \
    do {                                              \
        if (const auto& commonpp_record = (record)) { \
            commonpp_record(__VA_ARGS__);             \
        }                                             \
    } while (false)
