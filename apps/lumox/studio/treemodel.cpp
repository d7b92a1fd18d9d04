// The component tree and the commands that add components.
#include <QUndoStack>
#include <algorithm>

#include "apps/lumox/formapp.h"
#include "apps/lumox/studio/studiomodels.h"
#include "lumox/control/lumcntrl.h"
#include "lumox/control/lumtimer.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

namespace lumox {

namespace {

// The order of the top level: the scene, views, cameras, controllers, timers, others.
int Category(const TComponent* C) {
  if (dynamic_cast<const TLumRender*>(C)) return 0;
  if (dynamic_cast<const TLumView*>(C)) return 1;
  if (dynamic_cast<const TLumCamera*>(C)) return 2;
  if (dynamic_cast<const TLumCustomController*>(C)) return 3;
  if (dynamic_cast<const TLumTimer*>(C)) return 4;
  return 5;
}

}  // namespace

TLumTreeModel::TLumTreeModel(TComponent* Owner, QObject* Parent)
    : QAbstractItemModel(Parent), FOwner(Owner) {
  Reload();
}

TLumTreeModel::~TLumTreeModel() = default;

void TLumTreeModel::Reload() {
  beginResetModel();
  FItems.clear();
  FTop.clear();
  FTopRow.clear();
  for (int I = 0; I < FOwner->ComponentCount(); ++I) {
    TComponent* C = FOwner->Components(I);
    auto* R = dynamic_cast<TLumRender*>(C);
    if (R && R->Node()) continue;  // shown under its node
    FTop.push_back(C);
  }
  std::stable_sort(FTop.begin(), FTop.end(), [](const TComponent* A, const TComponent* B) {
    return Category(A) < Category(B);
  });
  for (size_t I = 0; I < FTop.size(); ++I) FTopRow.emplace(FTop[I], static_cast<int>(I));
  endResetModel();
}

TComponent* TLumTreeModel::Child(const TItem* Parent, int Row) const {
  if (Parent == &FRoot)
    return Row >= 0 && Row < static_cast<int>(FTop.size()) ? FTop[static_cast<size_t>(Row)]
                                                           : nullptr;
  auto* Node = dynamic_cast<TLumNode*>(Parent->Comp);
  return Node && Row >= 0 && Row < Node->GetCount() ? Node->GetItems(Row) : nullptr;
}

TLumTreeModel::TItem* TLumTreeModel::ItemOf(const QModelIndex& Index) const {
  if (!Index.isValid()) return const_cast<TItem*>(&FRoot);
  auto* Parent = static_cast<const TItem*>(Index.internalPointer());
  std::unique_ptr<TItem>& Slot = FItems[{Parent, Index.row()}];
  if (!Slot) {
    Slot = std::make_unique<TItem>();
    Slot->Comp = Child(Parent, Index.row());
    Slot->Parent = const_cast<TItem*>(Parent);
    Slot->Row = Index.row();
  }
  return Slot.get();
}

TComponent* TLumTreeModel::Component(const QModelIndex& Index) const {
  if (!Index.isValid()) return nullptr;
  return Child(static_cast<const TItem*>(Index.internalPointer()), Index.row());
}

QModelIndex TLumTreeModel::IndexOf(const TComponent* Component) {
  // The chain of nodes up to the top level, then down again by each one's index.
  std::vector<const TComponent*> Chain{Component};
  for (auto* R = dynamic_cast<const TLumRender*>(Component); R && R->Node();
       R = dynamic_cast<const TLumRender*>(R->Node()))
    Chain.push_back(R->Node());
  auto Top = FTopRow.find(Chain.back());
  if (Top == FTopRow.end()) return {};
  QModelIndex At = index(Top->second, 0);
  for (size_t I = Chain.size() - 1; I-- > 0;) {
    auto* Node = dynamic_cast<const TLumNode*>(Chain[I + 1]);
    const int Row =
        Node ? Node->IndexOf(const_cast<TLumRender*>(dynamic_cast<const TLumRender*>(Chain[I])))
             : -1;
    if (Row < 0) return {};
    At = index(Row, 0, At);
  }
  return At;
}

QModelIndex TLumTreeModel::index(int Row, int Column, const QModelIndex& Parent) const {
  if (Column < 0 || Column >= 2 || Row < 0 || Row >= rowCount(Parent)) return {};
  return createIndex(Row, Column, ItemOf(Parent.siblingAtColumn(0)));
}

QModelIndex TLumTreeModel::parent(const QModelIndex& Index) const {
  if (!Index.isValid()) return {};
  auto* P = static_cast<TItem*>(Index.internalPointer());
  if (P == &FRoot) return {};
  return createIndex(P->Row, 0, P->Parent);
}

int TLumTreeModel::rowCount(const QModelIndex& Parent) const {
  if (!Parent.isValid()) return static_cast<int>(FTop.size());
  if (Parent.column() != 0) return 0;
  auto* Node = dynamic_cast<TLumNode*>(Component(Parent));
  return Node ? Node->GetCount() : 0;
}

int TLumTreeModel::columnCount(const QModelIndex&) const { return 2; }

bool TLumTreeModel::hasChildren(const QModelIndex& Parent) const { return rowCount(Parent) > 0; }

QVariant TLumTreeModel::data(const QModelIndex& Index, int Role) const {
  TComponent* C = Component(Index);
  if (!C || (Role != Qt::DisplayRole && Role != Qt::ToolTipRole)) return {};
  if (Index.column() == 1) return QString::fromUtf8(C->ClassName());
  if (!C->Name().empty()) return QString::fromStdString(C->Name());
  return QStringLiteral("(%1)").arg(QString::fromUtf8(C->ClassName()));
}

QVariant TLumTreeModel::headerData(int Section, Qt::Orientation O, int Role) const {
  if (O != Qt::Horizontal || Role != Qt::DisplayRole) return {};
  return Section == 0 ? QStringLiteral("Component") : QStringLiteral("Class");
}

// --- adding ------------------------------------------------------------------------------

TLumAddCommand::TLumAddCommand(TComponent* Owner, const TLumClassInfo* Class, TLumNode* Into,
                               std::function<void(TComponent*, bool)> Changed)
    : FOwner(Owner), FClass(Class), FInto(Into), FChanged(std::move(Changed)) {
  setText(QStringLiteral("add %1").arg(QString::fromStdString(Class->ClassName())));
}

TLumAddCommand::~TLumAddCommand() {
  // Only a component the command took out is its own.
  if (FDetached) delete FComp;
}

void TLumAddCommand::redo() {
  if (!FComp) {
    FComp = FClass->Create(FOwner);
    FComp->SetName(LumNewComponentName(FOwner, FClass->ClassName()));
  } else if (FDetached) {
    FOwner->InsertComponent(FComp);
  }
  FDetached = false;
  if (auto* R = dynamic_cast<TLumRender*>(FComp); R && FInto) FInto->Add(R);
  if (FChanged) FChanged(FComp, true);
}

void TLumAddCommand::undo() {
  if (auto* R = dynamic_cast<TLumRender*>(FComp); R && R->Node()) R->Node()->Remove(R);
  FOwner->RemoveComponent(FComp);
  FDetached = true;
  if (FChanged) FChanged(FComp, false);
}

TComponent* LumPickComponent(TLumView* View, int X, int Y) {
  TObject* Obj = nullptr;
  View->GetObj(X, Y, Obj);
  return dynamic_cast<TComponent*>(Obj);
}

}  // namespace lumox
