/*
 * all_headers.c - every public and primitive header in one C99 translation
 * unit (built with -pedantic), so that a header that stops being C fails the
 * build.
 */
#include "kelvarn.h"
#include "kelvarn_prim.h"
#include "kelvarn_stream.h"
#include "kelvarn_ber.h"
#include "kelvarn_per.h"
#include "kelvarn_oer.h"
#include "kelvarn_xer.h"
#include "kelvarn_services.h"
#include "kelvarn_time.h"
#include "kelvarn_convert.h"

/* ISO C forbids an empty translation unit. */
int kel_all_headers_compile_as_c = 1;
