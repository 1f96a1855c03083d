// The relay of the surface walks of a depth group: a column of the model runs
// through the slabs of several processes, so each process hands the next one
// per-column maps, the surface plane of each column and the record of its
// surface cell, one float map per model component the run holds.
#pragma once

#include <cstddef>
#include <vector>

// One model component of the column record: its cube and its number
// (MODEL_PVEL, MODEL_DENS, ...).
struct CColumnArray {
  float* pData;
  int nComponent;
};

class CSurfaceRelay {
public:
  explicit CSurfaceRelay(const std::vector<CColumnArray>& record) : m_vRecord(record) {}

  // Sizes the maps for nColumns columns: planes unknown (-1), values 0.
  // False when memory ran out.
  bool Allocate(size_t nColumns);
  // All maps from or to the neighbour nPeer, with the tags of the first pass
  // or of the return pass (bBack). Each map is one blocking message; the
  // plane map goes first, then the components in the order of the record.
  void Receive(int nPeer, bool bBack);
  void Send(int nPeer, bool bBack);

  std::vector<CColumnArray> m_vRecord;
  std::vector<int> m_vPlane;                // global surface plane of each column, -1 unknown
  std::vector<std::vector<float>> m_vValue; // per component: the value at the surface cell
};
