// The studio's main window: the view of a form in the middle, the component tree and
// the property editor in docks beside it, menus to save, undo, add and delete.
#pragma once

#include <QMainWindow>
#include <QPoint>
#include <QUndoStack>
#include <functional>
#include <string>

#include "apps/lumox/formapp.h"

class QAbstractItemModel;
class QTreeView;

namespace lumox {
class TLumClassInfo;
class TLumPropertyModel;
class TLumQtView;
class TLumTreeModel;
class TLumView;

class TLumStudioWindow : public QMainWindow {
 public:
  // Shows View (a component of Form, which must outlive the window) and edits Form.
  TLumStudioWindow(TComponent* Form, TLumView* View, const std::string& Title);
  ~TLumStudioWindow() override;
  TLumQtView* Widget() const { return FWidget; }
  TLumTreeModel* Tree() const { return FTree; }
  TLumPropertyModel* Properties() const { return FProps; }
  QUndoStack* UndoStack() { return &FUndo; }
  // The component whose properties are shown (the tree's current one), or nullptr.
  TComponent* Current() const;
  // Makes C the tree's current component; false when the tree does not show it.
  bool Select(TComponent* C);
  // Expands the tree's first level and selects the component named Name at any depth.
  void Expand(const std::string& Name);
  // Adds a component of Class (undoably); render components go into the current node,
  // or the node of the current component, or the scene's first node.
  void AddComponent(const TLumClassInfo* Class);
  // Deletes the current component (a node with what it holds), undoably. The view
  // shown is refused (false).
  bool DeleteCurrent();
  // Saves the form (AsForm) or its scene to File; the command provides it.
  std::function<void(const std::string& File, bool AsForm)> OnSave;

 private:
  QTreeView* Dock(QAbstractItemModel* Model, const char* Title, Qt::DockWidgetArea Area);
  void FitWidget();
  void Show(TComponent* C);
  void Menus();
  void SaveAs(bool AsForm);
  TLumNode* TargetNode() const;

  TComponent* FForm;
  TLumFormApp FRun;
  TLumView* FView;
  QUndoStack FUndo;
  TLumQtView* FWidget;
  TLumTreeModel* FTree;
  TLumPropertyModel* FProps;
  QTreeView* FTreeView;
  QTreeView* FPropView;
  QPoint FPressed;
};

// The component named Name under Owner at any depth, or nullptr.
TComponent* LumFindNamed(TComponent* Owner, const std::string& Name);

}  // namespace lumox
