// flatctl VERB ...: the operator's view of a conversion and of the access checks. Asks the code
// that converts and decides; changes no file unless the command line names one to be written.
#include "flatctl/common/progress.h"
#include "flatctl/common/secrets.h"
#include "flatctl/common/text_write.h"
#include "flatctl/options.h"
#include "lib/ulib/usage.h"

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace flatlink;

static int run_verb(const request &asked)
{
    if (asked.reveal && !asked.yes && isatty(STDOUT_FILENO) == 0) {
        tell("--reveal is for a terminal; --yes says that secrets may go elsewhere");
        return STATUS_USAGE;
    }
    if (isatty(STDERR_FILENO) != 0 && !asked.quiet && asked.format == "text")
        allow_progress();
    return asked.verb->run(asked);
}

static int run(const std::vector<std::string> &words)
{
    if (words.empty()) {
        std::fputs(overview_text().c_str(), stderr);
        return STATUS_USAGE;
    }
    request asked;
    if (const std::string error = parse_options(words, asked); !error.empty()) {
        tell(error);
        return STATUS_USAGE;
    }
    if (asked.version)
        put(std::string("flatctl ") + release_version() + "\n");
    else if (asked.help)
        put(asked.verb != nullptr ? verb_help_text(*asked.verb) : overview_text());
    else
        return run_verb(asked);
    return STATUS_FINE;
}

int main(int argc, char **argv)
{
    (void)umask(0077); // what is written holds secrets
    choose_secret_key();
    const int status = run({argv + (argc > 0 ? 1 : 0), argv + argc});
    // A result that did not arrive is none.
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    std::perror("flatctl: standard output");
    return STATUS_UNREADABLE;
}
