// What an installed quorix.dat says about the cluster.
#pragma once

#include <string>

enum class ClusterSetting { Unreadable, On, Off };

// Reads the file through the configuration library, its messages to the
// install log; Unreadable when the file does not read as valid.
ClusterSetting ReadClusterSetting(const std::wstring& datPath);
