// mcrepconf.cpp -- compiled once per variant with MC_REPERTOIRE_CONFIG set by the build.
#include "config/mcrepconf.h"

#ifndef MC_REPERTOIRE_CONFIG
#error "MC_REPERTOIRE_CONFIG must be set by the build"
#endif

namespace mc {

const char* repertoire_configuration() { return MC_REPERTOIRE_CONFIG; }

}  // namespace mc
