/* proto_message_oer.c - the OER and COER encoders and decoders (being written). */
#include "kelvarn_oer.h"
#include "proto_message.h"
