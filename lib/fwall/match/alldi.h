// A predicate on texts that may be numbers.
#pragma once

// True if every character of `text` is a decimal digit, so for the empty text too; false for null.
bool isalldigits(const char *text);
