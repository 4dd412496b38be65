// A place for the variables that an accepting process and its connection children write.
#pragma once

// After a fork the first write to each page copies it, which costs more than most of what a child
// does there. A section of their own keeps these variables side by side, on one page or two.
#define WRITTEN_BY_CHILD [[gnu::section("written_by_child")]]
