/*
 * value_notation.h - the layout steps of value notation that the printers
 * of the code files share, as a compiler emits them once into each code
 * file: braces around a constructed value, a component to a line, two
 * blanks a level.
 *
 *   name {
 *     givenName "John",
 *     ...
 *   }
 */
#ifndef VALUE_NOTATION_H
#define VALUE_NOTATION_H

#include "kelvarn_services.h"

/* The first line inside braces, one level deeper.  _kel_indent raises the
 * level only after the line it starts, so the level goes up first. */
static inline void first_line(KelGlobal *w)
{
    w->printIndent++;
    _kel_indent(w, 0);
}

/* The opening brace of a constructed value and its first line. */
static inline void open_braces(KelGlobal *w)
{
    kelPrint(w, "{");
    first_line(w);
}

static inline void close_braces(KelGlobal *w)
{
    _kel_indent(w, -1);
    kelPrint(w, "}");
}

/* A component after the first: the comma and a new line. */
static inline void next_line(KelGlobal *w)
{
    kelPrint(w, ",");
    _kel_indent(w, 0);
}

#endif /* VALUE_NOTATION_H */
