/* cert_trim_oer.c - the OER and COER encoders and decoders (being written). */
#include "kelvarn_oer.h"
#include "cert_trim.h"
