// The check that stands between an answer of the name service and the copy of its address.
#pragma once

// True if `length`, in bytes, is that of an IPv4 address. Anything else is reported as
// "securityalert: invalid host address length (N) hostname NAME" (event 10504), the name cut at
// 128 characters.
bool h_lengthCorrect(int length, const char *hostname);
