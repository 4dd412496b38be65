// The verbs, one source each. Every function takes the parsed command line, prints its result to
// the standard output and all else to the standard error stream, and returns an exit_status.
#pragma once

struct request;

namespace flatlink
{

int run_check(const request &asked);
int run_completion(const request &asked);
int run_convert(const request &asked);
int run_explain_access(const request &asked);
int run_explain_line(const request &asked);
int run_explain_link(const request &asked);
int run_help(const request &asked);
int run_manual(const request &asked);
int run_preview(const request &asked);
int run_undo(const request &asked);

} // namespace flatlink
