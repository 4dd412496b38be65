// Converts a tree to the shape of the XML form and back. There a list is not a node with named or
// numbered children but a run of elements of one name, each with an attribute that names the child
// that it was, and proxies are grouped by their type.
//
// Every function works in place and reports nothing. `head` is the address of the tree's head.
#pragma once

struct frag;

namespace flatlink
{

// Converts a canonical tree to the shape that is written. Values of list entries are lost.
void shape_for_xml(frag **head);

} // namespace flatlink

// The part of it that concerns proxies: `def_proxy` becomes a new `proxy` with one child for each
// proxy, in reverse order, named by the proxy's type ("unknown" without one) and with its name in
// `attrs_name`. Config sets are treated alike, under the name `config-set`.
// Returns 1 if there is no `def_proxy`, else 0.
int norm_xml(frag **head);

// Converts a tree that was read from such a file back: removes the document element, restores the
// names and types of proxies, and turns the runs of elements into lists. What the form does not
// hold stays lost: values of list entries, a type "unknown", an empty value of a
// node with children, the place of `proxy-type` among its siblings, the order of lists that are
// written sorted. A tree without `?xml` is unchanged; one without `proxy`, which every written file
// has, only loses the document element. Returns 0.
int canon_xml(frag **head);

// Rename each node of a list to the value of a key below it, if that exists, and delete its
// `attrs`. The keys in order: `attrs_name`, `attrs_gname`, `attrs_item`, `attrs_seq`. Return 0.
int xml_rename_list(frag *first);
int xml_regname_list(frag *first);
int xml_renumber_list(frag *first);
int xml_resequence_list(frag *first);
