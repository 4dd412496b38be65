// Puts both contexts and a hook in place for one test, and keeps every report in its order.
#pragma once

#include "lib/ulib/report.h"

#include <cstdio>
#include <string>
#include <vector>

using told = std::string; // "EVENT/LINE TEXT"

struct report_log {
    static inline std::vector<told> reports;
    static inline int priority = 0; // of the last report

    report_log()
    {
        reports.clear();
        // The contexts are only passed on: any address does.
        servContext = reinterpret_cast<CServiceContext *>(&priority);
        connContext = reinterpret_cast<CConnectionContext *>(&priority);
        report_hook = take;
    }

    ~report_log()
    {
        servContext = nullptr;
        connContext = nullptr;
        report_hook = nullptr;
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
                                                           const UNIQUE_DATA_T &uniq, int level,
                                                           const char *format, va_list args)
    {
        char text[4096];
        std::vsnprintf(text, sizeof text, format, args);
        reports.push_back(std::to_string(uniq.event) + '/' + std::to_string(uniq.line) + ' ' +
                          text);
        priority = level;
    }
};
