// Drops a relay's privileges once it knows its client's destination.
#pragma once

// Takes on the identity of the table's `userid` and `groupid`, drops all capabilities, and makes
// sure that nothing this process runs gains any and that no core file shows what it carried.
// Without `groupid` the group is that of the user's account; other groups are left. What the table
// does not name stays as it is.
// Returns false after a report, when the process must not go on:
//   "cfgerr: userid N has no account, groupid is needed"   event 11502
//   "syserr: cannot give up WHAT: ..."                     event 13510
[[nodiscard]] bool give_up_rights();
