// help [VERB|CODE]: the pages that the tables of options and findings give.
#include "flatctl/check/findings.h"
#include "flatctl/common/text_write.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"

using namespace flatlink;

int flatlink::run_help(const request &asked)
{
    if (asked.operands.empty()) {
        put(overview_text());
        return STATUS_FINE;
    }
    std::string name = asked.operands[0];
    if (asked.operands.size() > 1)
        name += " " + asked.operands[1];
    if (const finding_row *row = find_code(name)) {
        put(finding_help_text(*row));
        return STATUS_FINE;
    }
    const verb_row *verb = find_verb(name);
    if (verb == nullptr) {
        tell("no verb or code '" + shown_line(name) + "'");
        return STATUS_USAGE;
    }
    put(verb_help_text(*verb));
    return STATUS_FINE;
}
