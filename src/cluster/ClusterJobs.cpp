// Deal-out of shots over the processes of MPI_COMM_MT: the master hands out
// one shot at a time to whichever worker reports back first; every worker
// computes whole shots by itself (no depth decomposition in this build).
#include <mpi.h>

#include <vector>

#include "common.h"
#include "run/KelvoApp.h"

enum { TAG_JOB_SHOT = 30, TAG_JOB_DONE = 31, TAG_JOB_PLACE = 32 };

static void send_int(int nValue, int nDest, int nTag) { MPI_Send(&nValue, 1, MPI_INT, nDest, nTag, MPI_COMM_MT); }

int CKelvoApp::MPI_RunMaster() {
  const int nWorkers = m_nSize - 1;
  if (m_nGroupSize > 1)
    u_Warning("Warning! Groups of %d processes are not supported by this build; every worker computes whole "
              "shots.\n",
              m_nGroupSize);
  m_nGroupSize = 1;
  std::vector<int> vLeaders;
  for (int w = 1; w <= nWorkers; w++) {
    int place[2] = {1, 0};
    MPI_Send(place, 2, MPI_INT, w, TAG_JOB_PLACE, MPI_COMM_MT);
    vLeaders.push_back(w);
  }
  u_Print("Running as a Master Node! Assign jobs from %d to %d\n", m_nCurPoint, m_nLastPoint);
  PrintModelingMethod();

  const int nJobs = m_nLastPoint - m_nCurPoint + 1;
  while ((int)vLeaders.size() > nJobs && !vLeaders.empty()) {
    u_Print("Worker %d - nothing to do!\n", (int)vLeaders.size());
    send_int(-1, vLeaders.back(), TAG_JOB_SHOT);
    vLeaders.pop_back();
  }

  int nNext = m_nCurPoint;
  int nBusy = 0;
  for (size_t i = 0; i < vLeaders.size() && nNext <= m_nLastPoint; i++) {
    send_int(nNext++, vLeaders[i], TAG_JOB_SHOT);
    nBusy++;
  }
  int nFinished = 0;
  while (nBusy > 0) {
    int nValue = 0;
    MPI_Status st;
    MPI_Recv(&nValue, 1, MPI_INT, MPI_ANY_SOURCE, TAG_JOB_DONE, MPI_COMM_MT, &st);
    const int nSource = st.MPI_SOURCE;
    if (nValue < 0) {
      u_Error("Error occurred on node %d! Simulation failed!\n", nSource);
      if (nValue == -1000)
        return -1000;
      nBusy--;
      while (nBusy > 0) {
        MPI_Recv(&nValue, 1, MPI_INT, MPI_ANY_SOURCE, TAG_JOB_DONE, MPI_COMM_MT, &st);
        if (nValue < 0)
          u_Error("Also an error occurred on process %d! Simulation failed!\n", st.MPI_SOURCE);
        else
          send_int(-1, st.MPI_SOURCE, TAG_JOB_SHOT);
        nBusy--;
      }
      return -2;
    }
    nFinished++;
    if (m_bDebug)
      u_Print("%d of %d jobs!\n", nFinished, nJobs);
    u_Percent_master(nJobs, nFinished, nValue, nSource);
    if (nNext <= m_nLastPoint) {
      send_int(nNext++, nSource, TAG_JOB_SHOT);
    } else {
      send_int(-1, nSource, TAG_JOB_SHOT);
      nBusy--;
    }
  }
  return 0;
}

int CKelvoApp::MPI_RunSlave() {
  u_Print("I'm a Worker Node.\n");
  int place[2] = {0, 0};
  MPI_Status st;
  MPI_Recv(place, 2, MPI_INT, 0, TAG_JOB_PLACE, MPI_COMM_MT, &st);
  if (place[0] < 0 || place[1] < 0)
    return -1;
  m_nGroupSize = place[0];
  m_nGroupRank = place[1];
  for (;;) {
    int nShot = -1;
    MPI_Recv(&nShot, 1, MPI_INT, 0, TAG_JOB_SHOT, MPI_COMM_MT, &st);
    if (nShot < 0)
      return 0;
    u_Print("Received to calculate shot #%d!\n", nShot);
    const int rc = RunShot(nShot);
    if (rc != 0) {
      send_int(-1, 0, TAG_JOB_DONE);
      return -1;
    }
    send_int(nShot, 0, TAG_JOB_DONE);
  }
}
