// Keeps the texts of all reports made in a block.
#pragma once

#include <cstdio>
#include <string>

#include "lib/ulib/report.h"

struct report_lines {
    static inline std::string text; // a newline behind each

    report_lines()
    {
        text.clear();
        // The contexts are only passed on: any address does.
        servContext = reinterpret_cast<CServiceContext *>(&text);
        connContext = reinterpret_cast<CConnectionContext *>(&text);
        report_hook = take;
    }
    ~report_lines()
    {
        servContext = nullptr;
        connContext = nullptr;
        report_hook = nullptr;
    }
    report_lines(const report_lines &) = delete;
    report_lines &operator=(const report_lines &) = delete;

    __attribute__((format(printf, 5, 0))) static void take(CServiceContext *, CConnectionContext *,
                                                           const UNIQUE_DATA_T &, int,
                                                           const char *format, va_list args)
    {
        char line[4096];
        std::vsnprintf(line, sizeof line, format, args);
        text += std::string(line) + "\n";
    }
};
