/// The inside of the linked list, for the source files of utility.h only.
#pragma once

#include "libcbase/utility.h"

/// Owned by its list.
struct linkedlistelement {
    int flag;                 ///< 1 while the element is in use
    void* data;               ///< owned if there is a `release`
    void (*release)(void*);   ///< releases `data`; may be null
    linkedlistelement* next;  ///< towards the tail
};

/// Owns its elements, from the head.
struct linkedlist {
    /// Elements from the head, and how many.
    int count;
    linkedlistelement* first;
};

/// Unlinks and releases the element behind `link`.
inline void remove_at(linkedlist& list, linkedlistelement** link) {
    linkedlistelement* element = *link;
    *link = element->next;
    --list.count;
    linkedlist_deinitelement(&element);
}

/// Removes the elements for whose data `matches` returns true: those behind the head first, the
/// head last. Returns how many.
template <typename Matches>
int remove_matching(linkedlist& list, Matches matches) {
    if (list.first == nullptr) {
        return 0;
    }
    const int count_before = list.count;
    linkedlistelement** link = &list.first->next;
    while (*link != nullptr) {
        if (matches((*link)->data)) {
            remove_at(list, link);
        } else {
            link = &(*link)->next;
        }
    }
    if (matches(list.first->data)) {
        remove_at(list, &list.first);
    }
    return count_before - list.count;
}
