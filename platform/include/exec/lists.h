/* SPDX-License-Identifier: Zlib */
/** @file exec/lists.h  Doubly linked lists whose links live in their members. */
#ifndef EXEC_LISTS_H
#define EXEC_LISTS_H

struct Node {
    struct Node* ln_Succ;
    struct Node* ln_Pred;
};

/** A ring through `lh_Head`, which is a member of no one: an empty list's head points at itself. */
struct List {
    struct Node lh_Head;
};

#endif
