// The check before an address is copied from an answer of the name service.
#pragma once

// True if `length`, in bytes, is that of an IPv4 address; otherwise reports
// "securityalert: invalid host address length (N) hostname NAME" (event 10504), the name cut at
// 128 characters.
bool h_lengthCorrect(int length, const char *hostname);
