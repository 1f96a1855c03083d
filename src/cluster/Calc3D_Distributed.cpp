// Time loop of a shot split by depth over a group of processes. Groups are
// never formed by this build's job deal-out (every worker computes whole
// shots), so reaching this loop is a configuration fault.
#include "calc3d/Calc3D.h"

int CCalc3D::CalculateDistributed() {
  u_Error("Error! A shot split over a group of %d processes cannot be computed by this build.\n", GetGroupSize());
  return -1;
}
