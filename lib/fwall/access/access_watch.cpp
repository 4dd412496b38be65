#include "lib/fwall/access/access_watch.h"

const access_watch_calls *access_watch = nullptr;
