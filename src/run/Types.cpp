#include "Types.h"

bool CCubeR::IsEmpty() const {
  return x0 == UNSET_VALUE || y0 == UNSET_VALUE || z0 == UNSET_VALUE || x1 == UNSET_VALUE || y1 == UNSET_VALUE ||
         z1 == UNSET_VALUE;
}

void CCubeR::Expand(const C3DPointR& p) {
  if (IsEmpty()) {
    x0 = x1 = p.x;
    y0 = y1 = p.y;
    z0 = z1 = p.z;
    return;
  }
  if (p.x < x0)
    x0 = p.x;
  if (p.x > x1)
    x1 = p.x;
  if (p.y < y0)
    y0 = p.y;
  if (p.y > y1)
    y1 = p.y;
  if (p.z < z0)
    z0 = p.z;
  if (p.z > z1)
    z1 = p.z;
}

bool CCubeR::Intersect(const CCubeR& c) {
  double nx0 = x0 > c.x0 ? x0 : c.x0, nx1 = x1 < c.x1 ? x1 : c.x1;
  double ny0 = y0 > c.y0 ? y0 : c.y0, ny1 = y1 < c.y1 ? y1 : c.y1;
  double nz0 = z0 > c.z0 ? z0 : c.z0, nz1 = z1 < c.z1 ? z1 : c.z1;
  if (nx0 <= nx1 && ny0 <= ny1 && nz0 <= nz1) {
    x0 = nx0, x1 = nx1, y0 = ny0, y1 = ny1, z0 = nz0, z1 = nz1;
    return true;
  }
  SetEmpty();
  return false;
}

bool CCubeR::IsPointInside(const C3DPointR& p) const {
  return p.x >= x0 && p.x <= x1 && p.y >= y0 && p.y <= y1 && p.z >= z0 && p.z <= z1;
}
