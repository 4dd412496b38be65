// The loader of address pools, which expands network objects into the entries of a pool.
#pragma once

struct frag;

// Feeds one pool: its fields, and the entries of its address ranges, networks and servers, each
// kind numbered from 1. Returns 0.
int load_mcpool(frag **db, frag *pool);
