// The shape that a tree has in the XML form, and the way back. There a list is no node with
// named or numbered children but a run of elements of one name, each with an attribute that
// tells which child it was, and proxies are grouped by their type.
//
// Every function works in place and reports nothing. `head` is the address of the tree's head.
#pragma once

struct frag;

namespace flatlink
{

// Brings a canonical tree to the shape that is written. Values of list entries are lost.
void shape_for_xml(frag **head);

} // namespace flatlink

// The part of it that concerns proxies: `def_proxy` becomes `proxy`, made anew, with one child
// for each proxy, the last in front, named by the proxy's type ("unknown" without one) and with
// its name in `attrs_name`. Config sets are treated alike, under the name `config-set`.
// Returns 1 if there is no `def_proxy`, else 0.
int norm_xml(frag **head);

// Undoes the shape in a tree that was read from such a file: the document element is taken
// away, proxies get their names and types back, and the runs of elements become lists. What the
// form does not hold stays lost: values of list entries, a type "unknown", an empty value of a
// node with children, the place of `proxy-type` among its siblings, the order of lists that are
// written sorted. A tree without `?xml` stays as it is, and only the document element is taken
// off one without `proxy`, which every written file has. Returns 0.
int canon_xml(frag **head);

// Each node of a list takes the value of a key below it as its name, if it has one, and loses
// its `attrs`. The keys in order: `attrs_name`, `attrs_gname`, `attrs_item`, `attrs_seq`.
// They return 0.
int xml_rename_list(frag *first);
int xml_regname_list(frag *first);
int xml_renumber_list(frag *first);
int xml_resequence_list(frag *first);
