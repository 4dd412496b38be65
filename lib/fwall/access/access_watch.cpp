#include "lib/fwall/access/access_watch.h"

using namespace flatlink;

const access_watch_calls *flatlink::access_watch = nullptr;
