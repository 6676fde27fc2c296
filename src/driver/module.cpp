// The module's one export.
#include "driver/driver.h"

#ifdef _WIN32
#define OSM_EXPORT __declspec(dllexport)
#else
#define OSM_EXPORT [[gnu::visibility("default")]]
#endif

/// The one Driver, at any time after the module is loaded; never null.
extern "C" OSM_EXPORT osm3d::Driver* OSMIRA_GetDriver();

osm3d::Driver* OSMIRA_GetDriver() { return &osm3d::GetDriver(); }
