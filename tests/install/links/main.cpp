// Whether a host fits a pattern, and the records of a database that is not there: the default
// settings.
#include "flatlink/driver.h"
#include "flatlink/records/line.h"
#include "lib/fwall/match/hnam.h"

#include <cstdio>

using namespace flatlink;

int main()
{
    std::printf("%d\n", hostmatch("10.1.*", "10.1.2.3"));
    derive_records("/nonexistent/database", false);
    fout = stdout;
    return save_vpndata("none");
}
