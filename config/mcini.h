// mcini.h -- internal side of the traced INI services (declared for clients in mc.h).
#ifndef MC_CONFIG_MCINI_H
#define MC_CONFIG_MCINI_H

#include "mc.h"

namespace mc {

// The suite's configuration file, in the configuration directory.
inline constexpr char kFichierNorba[] = "norba.ini";

}  // namespace mc

#endif  // MC_CONFIG_MCINI_H
