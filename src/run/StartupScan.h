// Early look at runtask.ini made before the node roles are settled: how many
// compute threads and devices a process wants and whether the host census
// is to be skipped.
#pragma once

class CStartupScan {
public:
  // `nCPUs`: online processors; `pfnDeviceCount` answers the number of
  // devices when a "Use CUDA" line asks for them.
  CStartupScan(int nCPUs, int (*pfnDeviceCount)());

  // Reads the file line by line, raw (comments are not removed). Keys count
  // only after the first [optimization], [GPU] or [MPI] header. A missing file
  // leaves the defaults. Messages go straight to standard output.
  void Scan(const char* szFile);

  // Processes wanted on this host: one per device, else cpus / threads, at least 1.
  int Wanted() const;

  int m_nCPUs;
  int m_nThreads; // compute threads per process
  int m_nGPUs = 0;
  bool m_bSkip = false; // no host census

private:
  int (*m_pfnDeviceCount)();
};
