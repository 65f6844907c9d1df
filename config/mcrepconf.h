// mcrepconf.h -- the configuration directory, fixed when the library is built.
#ifndef MC_CONFIG_MCREPCONF_H
#define MC_CONFIG_MCREPCONF_H

namespace mc {

// "/usr/local/norba/etc" in the shipped library; a directory of the build tree in the test build.
const char* repertoire_configuration();

}  // namespace mc

#endif  // MC_CONFIG_MCREPCONF_H
