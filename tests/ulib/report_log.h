// Puts both contexts and a hook in place for one test, and keeps what the hook is given, in its
// order.
#pragma once

#include "lib/ulib/report.h"

#include <cstdio>
#include <string>
#include <vector>

using told = std::string; // "EVENT/LINE TEXT"

struct report_log {
    static inline int calls = 0;
    static inline int priority = 0;
    static inline UNIQUE_DATA_T uniq{};
    static inline std::string text;  // of the last report
    static inline std::string texts; // of all of them, a newline after each
    static inline std::vector<told> reports;

    report_log()
    {
        calls = 0;
        text.clear();
        texts.clear();
        reports.clear();
        // The contexts are only passed on: any address does.
        servContext = reinterpret_cast<CServiceContext *>(&calls);
        connContext = reinterpret_cast<CConnectionContext *>(&calls);
        flatlink::report_hook = take;
    }

    ~report_log()
    {
        servContext = nullptr;
        connContext = nullptr;
        flatlink::report_hook = nullptr;
    }

    report_log(const report_log &) = delete;
    report_log &operator=(const report_log &) = delete;

    // All reports, a line each.
    static std::string lines()
    {
        std::string all;
        for (const told &one : reports)
            all += one + "\n";
        return all;
    }

    __attribute__((format(printf, 5, 0))) static void take(CServiceContext *, CConnectionContext *,
                                                           const UNIQUE_DATA_T &data, int level,
                                                           const char *format, va_list args)
    {
        char line[4096];
        std::vsnprintf(line, sizeof line, format, args);
        ++calls;
        priority = level;
        uniq = data;
        text = line;
        texts += text + "\n";
        reports.push_back(std::to_string(uniq.event) + '/' + std::to_string(uniq.line) + ' ' +
                          text);
    }
};
