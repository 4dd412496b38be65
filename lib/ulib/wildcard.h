// Matching of texts with patterns in which `*` stands for any run of characters, the empty run
// included. No other character is special, and case counts. A null text is an empty one.
#pragma once

// 1 when `pattern` matches the whole of `text`, else 0. Takes time at most proportional to the
// product of the two lengths, however many stars the pattern has.
int wmatch(const char *pattern, const char *text);

// The number, from 1, of the last pattern in a blank- or tab-separated list that matches `text`;
// 0 when none does or the list is empty. A blank at the end of the list is followed by an empty
// pattern, which matches the empty text.
int wtmatch(const char *patternlist, const char *text);
