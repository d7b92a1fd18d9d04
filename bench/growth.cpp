// Growth: the list operations of nodes and owners timed at two sizes, to show that each
// grows linearly with the number of items (the larger time over the smaller one near
// the ratio of the sizes, 8 for the default sizes) and not quadratically (64).
//   growth [--sizes SMALL,LARGE | --sizes N] [--runs N] [--only TEXT] [--row K]
//          [--wall | --instructions]
// Each row times N operations on a list of N items (set up and torn down untimed) in
// the processor time of the thread, which a busy machine inflates far less than the
// time on the clock (a long row is preempted many times, a short one seldom; --wall
// gives the clock's time instead); the rows run interleaved, every row at both sizes
// once per run, and the table gives the medians of the runs. --only keeps the rows whose name
// contains TEXT, --row the K-th row (from 0). --instructions counts the instructions of each row at
// each size with callgrind instead (valgrind must be installed), which a busy machine does not
// disturb.
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "lumox/lumox.h"

using namespace lumox;

namespace {

using Clock = std::chrono::steady_clock;

// Milliseconds of processor time this thread has used.
double ThreadMs() {
  timespec T{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &T);
  return static_cast<double>(T.tv_sec) * 1e3 + static_cast<double>(T.tv_nsec) / 1e6;
}

// A light item: a shape that is never built holds no mesh.
using TItem = TLumBox;

std::vector<int> Order(int N, const char* How, uint32_t Seed) {
  std::vector<int> O(static_cast<size_t>(N));
  std::iota(O.begin(), O.end(), 0);
  if (std::strcmp(How, "newest first") == 0) std::reverse(O.begin(), O.end());
  if (std::strcmp(How, "at random") == 0) std::shuffle(O.begin(), O.end(), std::mt19937(Seed));
  return O;
}

// Times Op after Setup; both get the size; Setup's state lives in the closure it returns.
struct TRow {
  std::string Operation, How;
  // Builds the list, returns the timed operations (which may capture what they need).
  std::function<std::function<void()>(int N)> Setup;
};

// A form owning a node of N items, in creation order.
struct TNodeScene {
  TComponent Form{nullptr};
  TLumNode* Node = new TLumNode(&Form);
  std::vector<TItem*> Items;
  explicit TNodeScene(int N) {
    Items.reserve(static_cast<size_t>(N));
    for (int I = 0; I < N; ++I) {
      Items.push_back(new TItem(&Form));
      Node->Add(Items.back());
    }
  }
};

std::vector<TRow> Rows() {
  std::vector<TRow> R;
  const char* Orders[3] = {"oldest first", "newest first", "at random"};
  // Every list kept alive until the row's closure is dropped, after the clock stops.
  auto Scene = [](int N) { return std::make_shared<TNodeScene>(N); };

  for (const char* How : Orders)
    R.push_back({"node: delete each item", How, [=](int N) {
                   auto S = Scene(N);
                   return std::function<void()>([S, How, N] {
                     for (int I : Order(N, How, 1)) delete S->Items[static_cast<size_t>(I)];
                   });
                 }});
  for (const char* How : Orders)
    R.push_back({"node: Remove(item)", How, [=](int N) {
                   auto S = Scene(N);
                   return std::function<void()>([S, How, N] {
                     for (int I : Order(N, How, 2))
                       S->Node->Remove(S->Items[static_cast<size_t>(I)]);
                   });
                 }});
  for (const char* How : Orders)
    R.push_back({"node: Delete(index)", How, [=](int N) {
                   auto S = Scene(N);
                   return std::function<void()>([S, How] {
                     std::mt19937 Random(3);
                     while (int Count = S->Node->GetCount()) {
                       if (std::strcmp(How, "oldest first") == 0)
                         S->Node->Delete(0);
                       else if (std::strcmp(How, "newest first") == 0)
                         S->Node->Delete(Count - 1);
                       else
                         S->Node->Delete(static_cast<int>(Random() % static_cast<uint32_t>(Count)));
                     }
                   });
                 }});
  R.push_back({"node: Move(i, j)", "at random", [=](int N) {
                 auto S = Scene(N);
                 return std::function<void()>([S, N] {
                   std::mt19937 Random(4);
                   for (int I = 0; I < N; ++I)
                     S->Node->Move(static_cast<int>(Random() % N), static_cast<int>(Random() % N));
                 });
               }});
  R.push_back({"node: Move(0, Count - 1)", "first to last", [=](int N) {
                 auto S = Scene(N);
                 return std::function<void()>([S, N] {
                   for (int I = 0; I < N; ++I) S->Node->Move(0, N - 1);
                 });
               }});
  R.push_back({"node: Exchange(i, j)", "at random", [=](int N) {
                 auto S = Scene(N);
                 return std::function<void()>([S, N] {
                   std::mt19937 Random(5);
                   for (int I = 0; I < N; ++I)
                     S->Node->Exchange(static_cast<int>(Random() % N),
                                       static_cast<int>(Random() % N));
                 });
               }});
  R.push_back({"node: Insert(Count / 2, item)", "each new item", [=](int N) {
                 auto S = Scene(0);
                 for (int I = 0; I < N; ++I) S->Items.push_back(new TItem(&S->Form));
                 return std::function<void()>([S] {
                   for (TItem* Item : S->Items) S->Node->Insert(S->Node->GetCount() / 2, Item);
                 });
               }});
  R.push_back({"node: IndexOf(item)", "at random", [=](int N) {
                 auto S = Scene(N);
                 return std::function<void()>([S, N] {
                   long Sum = 0;
                   for (int I : Order(N, "at random", 6))
                     Sum += S->Node->IndexOf(S->Items[static_cast<size_t>(I)]);
                   if (Sum != static_cast<long>(N) * (N - 1) / 2) std::abort();
                 });
               }});
  // No list work at all: what reaching each item costs at this size (caches, TLB).
  R.push_back({"items: read each one's Tag (no list work)", "at random", [=](int N) {
                 auto S = Scene(N);
                 return std::function<void()>([S, N] {
                   int64_t Sum = 0;
                   for (int I : Order(N, "at random", 6))
                     Sum += S->Items[static_cast<size_t>(I)]->Tag();
                   if (Sum != 0) std::abort();
                 });
               }});
  R.push_back({"node: GetItems(i) for every i", "in order", [=](int N) {
                 auto S = Scene(N);
                 return std::function<void()>([S, N] {
                   for (int I = 0; I < N; ++I)
                     if (S->Node->GetItems(I) != S->Items[static_cast<size_t>(I)]) std::abort();
                 });
               }});
  for (const char* How : Orders)
    R.push_back({"node: delete items it holds indirectly", How, [=](int N) {
                   auto S = Scene(N);
                   auto* Other = new TLumNode(&S->Form);
                   for (TItem* Item : S->Items) Other->AddIndirect(Item);
                   return std::function<void()>([S, How, N] {
                     for (int I : Order(N, How, 7)) delete S->Items[static_cast<size_t>(I)];
                   });
                 }});
  // One item referred to by N nodes, and N times by one node (an instanced mesh).
  R.push_back({"one item in N nodes: add, remove, add, free it", "each node", [=](int N) {
                 auto Form = std::make_shared<TComponent>(nullptr);
                 auto Nodes = std::make_shared<std::vector<TLumNode*>>();
                 for (int I = 0; I < N; ++I) Nodes->push_back(new TLumNode(Form.get()));
                 return std::function<void()>([Form, Nodes] {
                   auto* Item = new TItem(Form.get());
                   for (TLumNode* Node : *Nodes) Node->AddIndirect(Item);
                   for (TLumNode* Node : *Nodes) Node->Remove(Item);
                   for (TLumNode* Node : *Nodes) Node->AddIndirect(Item);
                   delete Item;
                 });
               }});
  R.push_back({"one item N times in a node: add, remove, add, free", "each entry", [=](int N) {
                 auto Form = std::make_shared<TComponent>(nullptr);
                 auto* Node = new TLumNode(Form.get());
                 return std::function<void()>([Form, Node, N] {
                   auto* Item = new TItem(Form.get());
                   for (int I = 0; I < N; ++I) Node->AddIndirect(Item);
                   for (int I = 0; I < N; ++I) Node->Remove(Item);
                   for (int I = 0; I < N; ++I) Node->AddIndirect(Item);
                   delete Item;
                   if (Node->GetCount() != 0) std::abort();
                 });
               }});
  R.push_back({"node: Clear", "newest first", [=](int N) {
                 auto S = Scene(N);
                 return std::function<void()>([S] { S->Node->Clear(); });
               }});
  R.push_back({"node owning its items: free it", "newest first", [=](int N) {
                 auto Form = std::make_shared<TComponent>(nullptr);
                 auto* Node = new TLumNode(Form.get());
                 for (int I = 0; I < N; ++I) Node->Add(new TItem(Node));
                 return std::function<void()>([Form, Node] { delete Node; });
               }});

  // S4's layout without a view: N boxes, each after a material of its own, in one node,
  // all owned by one form that is freed (the component side of freeing S4).
  R.push_back({"form of boxes after materials: free it", "whole scene", [=](int N) {
                 auto Form = std::make_shared<TComponent*>(new TComponent(nullptr));
                 auto* Root = new TLumNode(*Form);
                 for (int I = 0; I < N; ++I) {
                   (new TLumMaterial(*Form))->SetNode(Root);
                   (new TItem(*Form))->SetNode(Root);
                 }
                 return std::function<void()>([Form] { delete std::exchange(*Form, nullptr); });
               }});

  // An owner of N plain components.
  struct TOwned {
    TComponent Form{nullptr};
    std::vector<TComponent*> Items;
  };
  for (const char* How : Orders)
    R.push_back({"owner: free each component", How, [=](int N) {
                   auto S = std::make_shared<TOwned>();
                   for (int I = 0; I < N; ++I) S->Items.push_back(new TComponent(&S->Form));
                   return std::function<void()>([S, How, N] {
                     for (int I : Order(N, How, 8)) delete S->Items[static_cast<size_t>(I)];
                   });
                 }});
  R.push_back({"owner: free each named component", "at random", [=](int N) {
                 auto S = std::make_shared<TOwned>();
                 for (int I = 0; I < N; ++I) {
                   S->Items.push_back(new TComponent(&S->Form));
                   S->Items.back()->SetName("C" + std::to_string(I));
                 }
                 return std::function<void()>([S, N] {
                   for (int I : Order(N, "at random", 9)) delete S->Items[static_cast<size_t>(I)];
                 });
               }});
  R.push_back({"owner: Components(i) for every i", "in order", [=](int N) {
                 auto S = std::make_shared<TOwned>();
                 for (int I = 0; I < N; ++I) S->Items.push_back(new TComponent(&S->Form));
                 return std::function<void()>([S, N] {
                   for (int I = 0; I < N; ++I)
                     if (S->Form.Components(I) != S->Items[static_cast<size_t>(I)]) std::abort();
                 });
               }});
  // Removal notifications: objects that share one material (each registered with it).
  struct TShared {
    TComponent Form{nullptr};
    TLumMaterial* Material = new TLumMaterial(&Form);
    std::vector<TItem*> Items;
    explicit TShared(int N) {
      for (int I = 0; I < N; ++I) {
        Items.push_back(new TItem(&Form));
        Items.back()->SetMaterial(Material);
      }
    }
  };
  for (const char* How : Orders)
    R.push_back({"objects sharing a material: free each", How, [=](int N) {
                   auto S = std::make_shared<TShared>(N);
                   return std::function<void()>([S, How, N] {
                     for (int I : Order(N, How, 10)) delete S->Items[static_cast<size_t>(I)];
                   });
                 }});
  R.push_back({"objects sharing a material: free it", "one death", [=](int N) {
                 auto S = std::make_shared<TShared>(N);
                 return std::function<void()>([S] { delete S->Material; });
               }});
  // A sibling that listens (a node with OnItemNotify) hears of every sibling's end.
  R.push_back({"owner with a listening node: free each", "at random", [=](int N) {
                 auto S = std::make_shared<TOwned>();
                 auto* Listener = new TLumNode(&S->Form);
                 auto Heard = std::make_shared<long>(0);
                 Listener->OnItemNotify = [Heard](TComponent*, TOperation) { ++*Heard; };
                 for (int I = 0; I < N; ++I) S->Items.push_back(new TItem(&S->Form));
                 return std::function<void()>([S, N, Heard] {
                   for (int I : Order(N, "at random", 11)) delete S->Items[static_cast<size_t>(I)];
                   if (*Heard < N) std::abort();
                 });
               }});
  return R;
}

double Median(std::vector<double> V) {
  std::sort(V.begin(), V.end());
  return V[V.size() / 2];
}

// The timed part, a function of its own so that callgrind can count it alone.
__attribute__((noinline)) void RunTimed(const std::function<void()>& Op) { Op(); }

double TimeRow(const TRow& Row, int N, bool Wall) {
  std::function<void()> Op = Row.Setup(N);
  const auto T0 = Clock::now();
  const double C0 = ThreadMs();
  RunTimed(Op);
  const double Ms =
      Wall ? std::chrono::duration<double, std::milli>(Clock::now() - T0).count() : ThreadMs() - C0;
  Op = nullptr;  // the list's teardown, untimed
  return Ms;
}

// Instructions of row Row at size N, counted by callgrind in a child process (this
// program again, running that row alone); 0 when valgrind cannot be run.
double CountInstructions(size_t Row, int N) {
  char Self[4096] = {};
  if (::readlink("/proc/self/exe", Self, sizeof Self - 1) <= 0) return 0;
  const std::string Command =
      "valgrind --tool=callgrind --collect-atstart=no --toggle-collect='*RunTimed*' "
      "--callgrind-out-file=/dev/null '" +
      std::string(Self) + "' --row " + std::to_string(Row) + " --sizes " + std::to_string(N) +
      " --runs 1 2>&1 >/dev/null";
  FILE* P = ::popen(Command.c_str(), "r");
  if (!P) return 0;
  double Count = 0;
  char Line[512];
  while (std::fgets(Line, sizeof Line, P))
    if (const char* C = std::strstr(Line, "Collected :")) {
      std::string Digits;
      for (const char* D = C + 11; *D; ++D)
        if (*D >= '0' && *D <= '9') Digits += *D;
      Count = Digits.empty() ? 0 : std::stod(Digits);
    }
  ::pclose(P);
  return Count;
}

int Usage() {
  std::fprintf(stderr,
               "usage: growth [--sizes SMALL,LARGE | --sizes N] [--runs N] [--only TEXT]\n"
               "              [--row K] [--wall | --instructions]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  int Small = 10000, Large = 80000, Runs = 3, Row = -1;
  bool Instructions = false, Wall = false;
  std::string Only;
  for (int I = 1; I < argc; ++I) {
    const std::string A = argv[I];
    if (A == "--sizes" && I + 1 < argc) {
      const int Got = std::sscanf(argv[++I], "%d,%d", &Small, &Large);
      if (Got == 1) Large = Small;
      if (Got < 1) return Usage();
    } else if (A == "--runs" && I + 1 < argc) {
      Runs = std::max(1, std::atoi(argv[++I]));
    } else if (A == "--only" && I + 1 < argc) {
      Only = argv[++I];
    } else if (A == "--row" && I + 1 < argc) {
      Row = std::atoi(argv[++I]);
    } else if (A == "--instructions") {
      Instructions = true;
    } else if (A == "--wall") {
      Wall = true;
    } else {
      return Usage();
    }
  }
  if (Small < 1 || Large < Small) {
    std::fprintf(stderr, "growth: the sizes must be 0 < SMALL <= LARGE\n");
    return 2;
  }
  const std::vector<TRow> All = Rows();
  std::vector<size_t> Chosen;
  for (size_t R = 0; R < All.size(); ++R)
    if ((Row < 0 || static_cast<size_t>(Row) == R) &&
        (Only.empty() || (All[R].Operation + " " + All[R].How).find(Only) != std::string::npos))
      Chosen.push_back(R);
  const int Sizes = Small == Large ? 1 : 2;
  std::vector<std::vector<double>> T(Chosen.size() * 2);
  if (Instructions) {
    for (size_t C = 0; C < Chosen.size(); ++C)
      for (int K = 0; K < Sizes; ++K) {
        const double Count = CountInstructions(Chosen[C], K == 0 ? Small : Large);
        if (Count <= 0) {
          std::fprintf(stderr, "growth: --instructions needs valgrind (callgrind)\n");
          return 1;
        }
        T[C * 2 + K].push_back(Count / 1e6);
      }
  } else {
    for (int Run = 0; Run < Runs; ++Run)
      for (size_t C = 0; C < Chosen.size(); ++C)
        for (int K = 0; K < Sizes; ++K)
          T[C * 2 + K].push_back(TimeRow(All[Chosen[C]], K == 0 ? Small : Large, Wall));
  }
  const char* Unit = Instructions ? "M instructions" : Wall ? "ms" : "ms CPU";
  if (Sizes == 1)
    std::printf("| operation | order | %d %s |\n|---|---|---|\n", Small, Unit);
  else
    std::printf("| operation | order | %d %s | %d %s | ratio |\n|---|---|---|---|---|\n", Small,
                Unit, Large, Unit);
  for (size_t C = 0; C < Chosen.size(); ++C) {
    const TRow& R = All[Chosen[C]];
    const double A = Median(T[C * 2]);
    if (Sizes == 1) {
      std::printf("| %s | %s | %.2f |\n", R.Operation.c_str(), R.How.c_str(), A);
      continue;
    }
    const double B = Median(T[C * 2 + 1]);
    std::printf("| %s | %s | %.2f | %.2f | %.1f |\n", R.Operation.c_str(), R.How.c_str(), A, B,
                A > 0 ? B / A : 0.0);
  }
  if (Instructions)
    std::printf("(instructions counted by callgrind; linear growth gives a ratio near %.0f)\n",
                static_cast<double>(Large) / Small);
  else
    std::printf("(medians of %d interleaved runs; linear growth gives a ratio near %.0f)\n", Runs,
                static_cast<double>(Large) / Small);
  return 0;
}
