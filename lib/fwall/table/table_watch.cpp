#include "lib/fwall/table/table_watch.h"

using namespace flatlink;

const table_watch_calls *flatlink::table_watch = nullptr;
