// The inspector's models, free of any window so that tests drive them directly: the
// component tree of an owner, the property model of one component (generated from the
// published-property table), the undo commands every edit goes through, and the
// delegate that edits a property by its kind.
#pragma once

#include <QAbstractItemModel>
#include <QStyledItemDelegate>
#include <QUndoCommand>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "lumox/host/proptable.h"

class QUndoStack;

namespace lumox {
class TLumNode;
class TLumRender;
class TLumTimer;
class TLumView;

// The owner's components: the scene's hierarchy first (each node's items as its
// children, read when a node is expanded, so that large scenes open at once), then the
// views, cameras, controllers, timers and the other components.
class TLumTreeModel : public QAbstractItemModel {
 public:
  explicit TLumTreeModel(TComponent* Owner, QObject* Parent = nullptr);
  ~TLumTreeModel() override;
  // Reads the top level again (after components were added or removed).
  void Reload();
  TComponent* Component(const QModelIndex& Index) const;
  // The first place Component is shown at, or an invalid index.
  QModelIndex IndexOf(const TComponent* Component);

  QModelIndex index(int Row, int Column, const QModelIndex& Parent = {}) const override;
  QModelIndex parent(const QModelIndex& Index) const override;
  int rowCount(const QModelIndex& Parent = {}) const override;
  int columnCount(const QModelIndex& Parent = {}) const override;
  bool hasChildren(const QModelIndex& Parent = {}) const override;
  QVariant data(const QModelIndex& Index, int Role) const override;
  QVariant headerData(int Section, Qt::Orientation O, int Role) const override;

 private:
  // A shown node: made the first time a child of it is asked for.
  struct TItem {
    TComponent* Comp = nullptr;
    TItem* Parent = nullptr;
    int Row = 0;
  };
  struct TKeyHash {
    size_t operator()(const std::pair<const TItem*, int>& K) const {
      return std::hash<const void*>()(K.first) ^ (std::hash<int>()(K.second) * 0x9E3779B9u);
    }
  };
  TComponent* Child(const TItem* Parent, int Row) const;
  TItem* ItemOf(const QModelIndex& Index) const;
  TComponent* FOwner;
  std::vector<TComponent*> FTop;
  std::unordered_map<const TComponent*, int> FTopRow;
  TItem FRoot;
  mutable std::unordered_map<std::pair<const TItem*, int>, std::unique_ptr<TItem>, TKeyHash> FItems;
};

class TLumPropertyModel;

// One edit of one property: the value before and after. An owned object's values are
// kept as copies made through its class's Assign.
class TLumEditCommand : public QUndoCommand {
 public:
  // The edit has been applied already (the model applies it first to learn what the
  // setter made of the value); the first redo does nothing.
  TLumEditCommand(TLumPropertyModel* Model, TPersistent* Instance, const TLumPropInfo* Prop,
                  TLumValue Old, TLumValue New, QUndoCommand* Parent = nullptr);
  void undo() override;
  void redo() override;
  TPersistent* Instance() const { return FInstance; }

 private:
  void Apply(const TLumValue& Value);
  TLumPropertyModel* FModel;
  TPersistent* FInstance;
  const TLumPropInfo* FProp;
  TLumValue FOld, FNew;
  std::unique_ptr<TPersistent> FOldCopy, FNewCopy;
  bool FApplied = true;
};

// Adding a component from the palette: undo takes it out of its node and its owner
// and keeps it, redo puts it back, so that the later edits of it find it again.
class TLumAddCommand : public QUndoCommand {
 public:
  TLumAddCommand(TComponent* Owner, const TLumClassInfo* Class, TLumNode* Into,
                 std::function<void(TComponent*, bool Added)> Changed);
  ~TLumAddCommand() override;
  void undo() override;
  void redo() override;
  TComponent* Component() const { return FComp; }

 private:
  TComponent* FOwner;
  const TLumClassInfo* FClass;
  TLumNode* FInto;
  std::function<void(TComponent*, bool)> FChanged;
  TComponent* FComp = nullptr;
  bool FDetached = false;
};

// Deleting a component, and with a node everything it holds: what goes is taken out of
// its nodes, its owner and every reference other components have to it, and kept by the
// command, so that undo puts the same objects back (the edits recorded before them still
// apply) in the same places: the index in each node that held it, the index among its
// owner's components, each reference. Redo takes them out again; the command frees
// what it holds taken out when it is dropped.
class TLumDeleteCommand : public QUndoCommand {
 public:
  TLumDeleteCommand(TComponent* Form, TComponent* Target);
  ~TLumDeleteCommand() override;
  void undo() override;
  void redo() override;
  TComponent* Target() const { return FTarget; }
  // Whether C is among what the command holds taken out.
  bool Holds(const TComponent* C) const { return FTakenOut && FGone.count(C) > 0; }
  // Called after each redo (Deleted) and undo.
  std::function<void(TComponent* Target, bool Deleted)> OnChanged;

 private:
  // A component taken out of its owner, at Index among the owner's components.
  struct TOwned {
    TComponent* Comp;
    TComponent* Owner;
    int Index;
  };
  // An entry of a node's list: the item at Index, held or only referred to.
  struct TEntry {
    TLumNode* Node;
    int Index;
    TLumRender* Item;
    bool Indirect;
  };
  // A reference Holder had to a component that went: the property, reached from Holder
  // through the owned objects (or form-entry objects, by their place) on Path.
  struct TStep {
    const TLumPropInfo* Object = nullptr;
    const TLumFormEntry* Entry = nullptr;
    int Index = 0;
  };
  struct TReference {
    TComponent* Holder;
    std::vector<TStep> Path;
    const TLumPropInfo* Prop;
    TComponent* Value;
  };
  void Collect();
  void FindReferences(TComponent* Holder);
  TComponent* FForm;
  TComponent* FTarget;
  std::unordered_set<const TComponent*> FGone;
  std::vector<TOwned> FOwned;
  std::vector<TEntry> FEntries;
  std::vector<TReference> FReferences;
  std::vector<TLumTimer*> FStopped;  // timers that went while running
  bool FTakenOut = false;
};

// The published properties of one component as rows of name and value; owned objects
// and sets expand into their values and elements. Edits go through the property's
// setter and onto the undo stack.
class TLumPropertyModel : public QAbstractItemModel {
 public:
  enum TRole {
    KindRole = Qt::UserRole + 1,  // the TLumPropKind of the row (-1 for a set element)
    NamesRole,                    // enumerations: the value names
    MinRole,                      // numbers: the range's ends
    MaxRole,
    ChoicesRole  // references: the compatible components' names
  };
  TLumPropertyModel(QUndoStack* Stack, QObject* Parent = nullptr);
  ~TLumPropertyModel() override;
  // Shows Instance's properties; references are offered among Owner's components.
  void SetInstance(TPersistent* Instance, TComponent* Owner);
  TPersistent* Instance() const { return FInstance; }
  QUndoStack* UndoStack() const { return FStack; }
  // The row of a property by its path ("ColorDiffuse.Color"), or an invalid index.
  QModelIndex Find(const std::string& Path, int Column = 1) const;
  // References: the components Index's property accepts, nullptr (none) first.
  std::vector<TComponent*> Choices(const QModelIndex& Index) const;
  // Sets a row's value as the editors give it; false (and Error called) when the
  // setter refuses it.
  bool setData(const QModelIndex& Index, const QVariant& Value, int Role = Qt::EditRole) override;
  // Sets an owned object's values from Source (copied in through its class's Assign), as
  // one edit; false when refused.
  bool SetObjectValue(const QModelIndex& Index, TPersistent* Source);
  // Rereads every value (after an undo or redo).
  void Refresh();
  // Called with the message of a refused edit, and after every change (a reference's
  // change may move components between nodes).
  std::function<void(const std::string&)> OnError;
  std::function<void(TPersistent*, const TLumPropInfo*)> OnEdited;

  QModelIndex index(int Row, int Column, const QModelIndex& Parent = {}) const override;
  QModelIndex parent(const QModelIndex& Index) const override;
  int rowCount(const QModelIndex& Parent = {}) const override;
  int columnCount(const QModelIndex& Parent = {}) const override;
  QVariant data(const QModelIndex& Index, int Role) const override;
  Qt::ItemFlags flags(const QModelIndex& Index) const override;
  QVariant headerData(int Section, Qt::Orientation O, int Role) const override;

 private:
  struct TRow {
    TPersistent* Instance = nullptr;
    const TLumPropInfo* Prop = nullptr;
    int Bit = -1;  // a set's element
    TRow* Parent = nullptr;
    int Row = 0;
    std::vector<std::unique_ptr<TRow>> Children;
  };
  void Build(TRow* Into, TPersistent* Instance, int Depth);
  TRow* RowOf(const QModelIndex& Index) const;
  // Applies New through the setter and records the edit; false when refused.
  bool Edit(TPersistent* Instance, const TLumPropInfo* Prop, const TLumValue& New,
            QUndoCommand* Macro);
  void Emit(TRow* Row);
  QUndoStack* FStack;
  TPersistent* FInstance = nullptr;
  TComponent* FOwner = nullptr;
  TRow FTop;
};

// Edits a property row by its kind: spin boxes within the range, a list of names for
// enumerations and references, a line for strings, the colour dialog (with alpha for
// colour objects). Booleans and set elements are the model's check boxes.
class TLumPropertyDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  QWidget* createEditor(QWidget* Parent, const QStyleOptionViewItem& Option,
                        const QModelIndex& Index) const override;
  void setEditorData(QWidget* Editor, const QModelIndex& Index) const override;
  void setModelData(QWidget* Editor, QAbstractItemModel* Model,
                    const QModelIndex& Index) const override;
};

// The component drawn at (X, Y) of View, or nullptr.
TComponent* LumPickComponent(TLumView* View, int X, int Y);

}  // namespace lumox
