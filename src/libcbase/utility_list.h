/// The inside of the linked list, for the source files of utility.h only.
#pragma once

#include <functional>

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
    int count;                 ///< of the elements
    linkedlistelement* first;  ///< the head; null when empty
};

/// Removes the elements for whose data `matches` returns true: those behind the head first, the
/// head last. Returns how many.
int linkedlist_remove_matching(linkedlist& list, const std::function<bool(void*)>& matches);
