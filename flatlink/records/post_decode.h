// The finishing of all records when their lines are in.
#pragma once

// Drops records without a name, upgrades the older forms, resolves host names, and brings every
// list to its final form and order. Returns 0.
int post_decode();
