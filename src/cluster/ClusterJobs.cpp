// Deal-out of shots over the processes of MPI_COMM_MT. The master measures
// the memory a shot needs, forms groups of workers that share a shot by depth
// when one node is not enough, and hands out one shot at a time to whichever
// group reports back first. Workers run the shot pipeline of the driver.
#include <mpi.h>

#include <algorithm>
#include <vector>

#include "calc3d/Calc3D.h"
#include "cluster/ClusterPlan.h"
#include "cluster/MessageTags.h"
#include "common.h"
#include "run/KelvoApp.h"
#include "run/StopSignal.h"

static void send_int(int nValue, int nDest, int nTag) { MPI_Send(&nValue, 1, MPI_INT, nDest, nTag, MPI_COMM_MT); }

// A finished job: the shot number (or -1 / -1000 for a failure) and the
// outcome of RunShot, so that the master can list skipped shots.
static void send_done(int nShot, int nOutcome) {
  int done[2] = {nShot, nOutcome};
  MPI_Send(done, 2, MPI_INT, 0, TAG_JOB_DONE, MPI_COMM_MT);
}

static void send_place(int nSize, int nRank, int nDest) {
  int place[2] = {nSize, nRank};
  MPI_Send(place, 2, MPI_INT, nDest, TAG_JOB_PLACE, MPI_COMM_MT);
}

// Memory figure in MB rounded up to the next ten.
static int round_up_mb(double f) { return ((int)(f / 10) + 1) * 10; }

static void print_memory(const char* szLabel, double f) {
  if (f < 100)
    u_Print("%s< 100 MB\n", szLabel);
  else
    u_Print("%s= %d MB\n", szLabel, round_up_mb(f));
}

// Hands out shots nFirst..nLast to the leaders, one at a time, to whichever
// group reports back first, and stops each group when no shot is left. 0; -2
// when a worker failed; -1000 when the failure is fatal for the whole run.
static int deal_shots(std::vector<int>& vLeaders, int nFirst, int nLast, int g, CShotTally& tally, bool bDebug) {
  // Groups without a job are stopped, the last ones first.
  const int nJobs = nLast - nFirst + 1;
  while ((int)vLeaders.size() > nJobs && !vLeaders.empty()) {
    if (g > 1)
      u_Print("Group %d - nothing to do!\n", (int)vLeaders.size());
    else
      u_Print("Worker %d - nothing to do!\n", (int)vLeaders.size());
    send_int(-1, vLeaders.back(), TAG_JOB_SHOT);
    vLeaders.pop_back();
  }

  // First round.
  int nNext = nFirst;
  int nBusy = 0;
  for (size_t i = 0; i < vLeaders.size() && nNext <= nLast; i++) {
    send_int(nNext++, vLeaders[i], TAG_JOB_SHOT);
    nBusy++;
  }

  // Whoever reports gets the next shot, or the stop.
  int nFinished = 0;
  while (nBusy > 0) {
    int done[2] = {0, 0};
    MPI_Status st;
    MPI_Recv(done, 2, MPI_INT, MPI_ANY_SOURCE, TAG_JOB_DONE, MPI_COMM_MT, &st);
    const int nSource = st.MPI_SOURCE;
    int nValue = done[0];
    if (nValue < 0) {
      // Failure: drain the other groups.
      u_Error("Error occurred on node %d! Simulation failed!\n", nSource);
      if (nValue == -1000)
        return -1000;
      nBusy--;
      while (nBusy > 0) {
        MPI_Recv(done, 2, MPI_INT, MPI_ANY_SOURCE, TAG_JOB_DONE, MPI_COMM_MT, &st);
        if (done[0] < 0)
          u_Error("Also an error occurred on process %d! Simulation failed!\n", st.MPI_SOURCE);
        else
          send_int(-1, st.MPI_SOURCE, TAG_JOB_SHOT);
        nBusy--;
      }
      return -2;
    }
    if (done[1] <= 0)
      tally.Note(nValue, done[1]);
    nFinished++;
    if (bDebug)
      u_Print("%d of %d jobs!\n", nFinished, nJobs);
    u_Percent_master(nJobs, nFinished, nValue, nSource);
    if (nNext <= nLast && !run_StopSignal()) {
      send_int(nNext++, nSource, TAG_JOB_SHOT);
    } else {
      send_int(-1, nSource, TAG_JOB_SHOT);
      nBusy--;
    }
  }
  return 0;
}

int CKelvoApp::MPI_RunMaster() {
  const int nWorkers = m_nSize - 1;
  CCalc3D* pCalc = m_pCalc3D;

  // Memory probe on every tenth shot.
  u_Print("Probing for maximum needed memory for the simulation...\n");
  double fNeed = 0;
  for (int s = m_nCurPoint; s <= m_nLastPoint; s += 10) {
    int rc = pCalc->GenerateSignal();
    if (rc == 0) {
      rc = pCalc->PrepareSource(s, m_Survey, true);
      if (rc == CALC_SHOT_OUTSIDE)
        continue;
    }
    if (rc == 0)
      rc = pCalc->AllocateMemory(true, true);
    if (rc != 0) {
      for (int w = 1; w <= nWorkers; w++)
        send_place(-1, -1, w);
      return -1;
    }
    fNeed = std::max(fNeed, pCalc->m_fMemRequired);
  }

  // Group size from the memory need, unless the task sets it.
  double fAvail = pCalc->m_fMemAvailable * 0.9;
  if (m_nMemoryLimit > 0) {
    u_Warning("Memory limit is set. Assuming %d MB available per node instead of actual %g MB\n", m_nMemoryLimit,
              pCalc->m_fMemAvailable);
    fAvail = m_nMemoryLimit;
  }
  const int g = CClusterPlan::GroupSize(fNeed, fAvail, m_nGroupSize);
  m_nGroupSize = g;
  ShareCalcSettings();
  CClusterPlan plan;
  plan.Partition(nWorkers, g);

  if (g == 1) {
    // Every worker computes whole shots.
    for (int w = 1; w <= nWorkers; w++)
      send_place(1, 0, w);
  } else {
    // Report of the partition; consecutive workers form a group.
    u_LinePrint(" MPI Distributed Computing ");
    if (fAvail > 0) {
      print_memory("Maximum Total Memory Needed   ", fNeed);
      print_memory("Memory Available on each Node ", fAvail);
      print_memory("Maximum Memory Per Node       ", fNeed / g);
    }
    u_Print("MPI Total Number of Nodes     = %d\n", nWorkers);
    u_Print("MPI Nodes Per Group           = %d\n", g);
    if (g > nWorkers) {
      u_Error("Error! Total cluster memory on %d nodes is not enough to run the computations.\nPlease, either "
              "increase the number of worker nodes or use bigger spacial steps.\n",
              nWorkers);
      for (int w = 1; w <= nWorkers; w++)
        send_place(-1, -1, w);
      return -1;
    }
    u_Print("MPI Total Number of Groups    = %d\n", plan.m_nGroups);
    u_Line();
    u_LinePrint(" MPI Partitioning ");
    u_Print("  Rank    |  Group # | Group Size | Group Rank\n");
    for (int w = 1; w <= nWorkers; w++) {
      u_Print("%9d |%9d |%11d |%11d\n", w, plan.m_vGroup[w - 1], plan.m_vSize[w - 1], plan.m_vRank[w - 1]);
      send_place(plan.m_vSize[w - 1], plan.m_vRank[w - 1], w);
    }
    u_Line();
  }

  if (g != 1)
    u_Print("Running as a Supervisor Node! Assign jobs from %d to %d\n", m_nCurPoint, m_nLastPoint);
  else
    u_Print("Running as a Master Node! Assign jobs from %d to %d\n", m_nCurPoint, m_nLastPoint);
  PrintModelingMethod();

  return deal_shots(plan.m_vLeaders, m_nCurPoint, m_nLastPoint, g, m_Tally, m_bDebug);
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
  ShareCalcSettings();
  const bool bGroup = m_nGroupSize > 1;
  const int nLeader = m_nNode - m_nGroupRank;
  if (bGroup) {
    if (m_nGroupRank == 0)
      u_Print("I'm a Group Leader. My group's size is %d (Nodes from #%d to #%d).\n", m_nGroupSize, m_nNode,
              m_nNode + m_nGroupSize - 1);
    else
      u_Print("I'm a Group Slave #%d (of %d). My boss's node is #%d.\n", m_nGroupRank, m_nGroupSize - 1, nLeader);
  }
  for (;;) {
    int nShot = -1;
    MPI_Recv(&nShot, 1, MPI_INT, m_nGroupRank == 0 ? 0 : nLeader, TAG_JOB_SHOT, MPI_COMM_MT, &st);
    if (nShot >= 0)
      u_Print("Received to calculate shot #%d!\n", nShot);
    if (bGroup && m_nGroupRank == 0)
      for (int r = 1; r < m_nGroupSize; r++)
        send_int(nShot, m_nNode + r, TAG_JOB_SHOT);
    if (nShot < 0)
      return 0;
    const int rc = RunShot(nShot);
    if (rc != 0) {
      if (!bGroup) {
        send_done(-1, 0);
      } else if (rc == RUN_INTERRUPTED) {
        // The whole group stopped at the same step; its leader reports it.
        if (m_nGroupRank == 0)
          send_done(-1, 0);
      } else {
        // The other members would wait for ever on this one: the whole run must stop.
        if (m_bDebug)
          u_Print("DEBUG: Run3DShot returned %d.\n", rc);
        send_done(-1000, 0);
      }
      return -1;
    }
    if (m_nGroupRank == 0)
      send_done(nShot, m_nShotOutcome);
  }
}
