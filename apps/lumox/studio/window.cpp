// The studio's main window.
#include "apps/lumox/studio/window.h"

#include <QAction>
#include <QDockWidget>
#include <QFileDialog>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QScrollArea>
#include <QStatusBar>
#include <QTreeView>
#include <algorithm>

#include "apps/lumox/studio/studiomodels.h"
#include "lumox/qt/lumqtview.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumview.h"

namespace lumox {

TComponent* LumFindNamed(TComponent* Owner, const std::string& Name) {
  if (Name.empty()) return nullptr;
  // Breadth first with a list of its own: scenes may nest deeper than the call stack.
  std::vector<TComponent*> Level{Owner};
  for (size_t I = 0; I < Level.size(); ++I) {
    if (TComponent* C = Level[I]->FindComponent(Name)) return C;
    for (int K = 0; K < Level[I]->ComponentCount(); ++K) Level.push_back(Level[I]->Components(K));
  }
  return nullptr;
}

TLumStudioWindow::TLumStudioWindow(TComponent* Form, TLumView* View, const std::string& Title)
    : FForm(Form), FRun(Form), FView(View) {
  // The view keeps the size its form gives it (Width, Height), as the running form
  // opens it; the window around it scrolls.
  FWidget = new TLumQtView(View);
  FitWidget();
  auto* Area = new QScrollArea;
  Area->setAlignment(Qt::AlignCenter);
  Area->setWidget(FWidget);
  setCentralWidget(Area);
  FRun.Connect(View);
  FTree = new TLumTreeModel(Form, this);
  FProps = new TLumPropertyModel(&FUndo, this);
  FTreeView = Dock(FTree, "Components", Qt::LeftDockWidgetArea);
  FPropView = Dock(FProps, "Properties", Qt::RightDockWidgetArea);
  FPropView->setItemDelegate(new TLumPropertyDelegate(FPropView));
  // Not on a mere change of row: a colour row would open its dialog.
  FPropView->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked |
                             QAbstractItemView::EditKeyPressed);
  FProps->OnError = [this](const std::string& M) {
    statusBar()->showMessage(QString::fromStdString(M), 8000);
  };
  FProps->OnEdited = [this](TPersistent*, const TLumPropInfo* Prop) {
    // A reference (a node) may have moved components: the tree is read again.
    if (Prop->Kind == pkComponent) {
      TComponent* Was = Current();
      FTree->Reload();
      FRun.Connect(FView);
      if (Was) Select(Was);
    }
    FTreeView->viewport()->update();
    if (FView->Width() != FWidget->width() || FView->Height() != FWidget->height()) FitWidget();
    FWidget->update();
  };
  connect(FTreeView->selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this](const QModelIndex& Index) { Show(FTree->Component(Index)); });
  Menus();
  // A press and release at (nearly) one place is a click: it selects what it hits.
  View->OnMouseDown = [this](TObject*, TMouseButton, TShiftState, int X, int Y) {
    FPressed = {X, Y};
  };
  View->OnMouseUp = [this](TObject*, TMouseButton Button, TShiftState, int X, int Y) {
    if (Button != mbLeft || (QPoint(X, Y) - FPressed).manhattanLength() > 3) return;
    if (!Select(LumPickComponent(FView, X, Y)))
      statusBar()->showMessage("nothing selectable there", 4000);
  };
  setWindowTitle(QString::fromStdString(Title));
}

TLumStudioWindow::~TLumStudioWindow() {
  // The docks stop reading the models before the scene goes (a window destroyed while
  // shown lays its trees out once more); the commands' components and then the scene
  // go while the view's context lives.
  FTreeView->setModel(nullptr);
  FPropView->setModel(nullptr);
  FUndo.clear();
  FProps->SetInstance(nullptr, nullptr);
  FView->OnMouseDown = nullptr;
  FView->OnMouseUp = nullptr;
  LumFreeScene(FForm);
  FView->OnRender = nullptr;  // it calls on FRun, which goes with the window
}

TComponent* TLumStudioWindow::Current() const {
  return FTree->Component(FTreeView->currentIndex());
}

bool TLumStudioWindow::Select(TComponent* C) {
  const QModelIndex At = C ? FTree->IndexOf(C) : QModelIndex();
  if (!At.isValid()) return false;
  FTreeView->setCurrentIndex(At);
  FTreeView->scrollTo(At);
  return true;
}

void TLumStudioWindow::Expand(const std::string& Name) {
  FTreeView->expandToDepth(0);
  if (TComponent* C = LumFindNamed(FForm, Name)) Select(C);
  FPropView->expandToDepth(0);
}

QTreeView* TLumStudioWindow::Dock(QAbstractItemModel* Model, const char* Title,
                                  Qt::DockWidgetArea Area) {
  auto* Tree = new QTreeView;
  Tree->setModel(Model);
  Tree->setUniformRowHeights(true);  // large scenes scroll without measuring each row
  Tree->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  auto* D = new QDockWidget(Title, this);
  D->setObjectName(Title);
  D->setWidget(Tree);
  addDockWidget(Area, D);
  return Tree;
}

// The widget takes the view's size, at most 4096 a side: a larger framebuffer would take
// gigabytes, and the widget's size then becomes the view's.
void TLumStudioWindow::FitWidget() {
  FWidget->setFixedSize(std::clamp(FView->Width(), 1, 4096), std::clamp(FView->Height(), 1, 4096));
}

void TLumStudioWindow::Show(TComponent* C) {
  FProps->SetInstance(C, FForm);
  FPropView->expandToDepth(0);
}

void TLumStudioWindow::Menus() {
  QMenu* File = menuBar()->addMenu("&File");
  File->addAction("Save as &form...", QKeySequence::Save, this, [this] { SaveAs(true); });
  File->addAction("Save as &scene...", this, [this] { SaveAs(false); });
  File->addSeparator();
  File->addAction("&Quit", QKeySequence::Quit, this, &QWidget::close);
  QMenu* Edit = menuBar()->addMenu("&Edit");
  QAction* Undo = FUndo.createUndoAction(this);
  Undo->setShortcut(QKeySequence::Undo);
  QAction* Redo = FUndo.createRedoAction(this);
  Redo->setShortcut(QKeySequence::Redo);
  Edit->addAction(Undo);
  Edit->addAction(Redo);
  Edit->addSeparator();
  QAction* Delete = Edit->addAction("&Delete component", QKeySequence::Delete, this, [this] {
    if (!DeleteCurrent() && Current())
      statusBar()->showMessage("the view the studio shows cannot be deleted", 6000);
  });
  // The key deletes in the component tree only: in the property editor it edits text.
  Delete->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  FTreeView->addAction(Delete);
  QMenu* Add = menuBar()->addMenu("&Add");
  for (const char* Page : {"Lumox", "Lumox Obj"}) {
    QMenu* Sub = Add->addMenu(Page);
    for (const TLumClassInfo* Class : GetClassInfos())
      if (Class->PalettePage() == Page && Class->CanCreate() && Class->IsComponent())
        Sub->addAction(QString::fromStdString(Class->ClassName()), this,
                       [this, Class] { AddComponent(Class); });
  }
}

TLumNode* TLumStudioWindow::TargetNode() const {
  TComponent* C = Current();
  if (auto* N = dynamic_cast<TLumNode*>(C)) return N;
  if (auto* R = dynamic_cast<TLumRender*>(C))
    if (auto* N = dynamic_cast<TLumNode*>(R->Node())) return N;
  return FRun.RootNode();
}

void TLumStudioWindow::AddComponent(const TLumClassInfo* Class) {
  auto* Cmd = new TLumAddCommand(FForm, Class, TargetNode(), [this](TComponent* C, bool Added) {
    if (!Added && FProps->Instance() == C) FProps->SetInstance(nullptr, nullptr);
    FTree->Reload();
    FRun.Connect(FView);
    if (Added) Select(C);
  });
  try {
    FUndo.push(Cmd);
  } catch (const std::exception& E) {
    statusBar()->showMessage(E.what(), 8000);
  }
}

bool TLumStudioWindow::DeleteCurrent() {
  TComponent* C = Current();
  if (!C || C == FView) return false;
  auto* Cmd = new TLumDeleteCommand(FForm, C);
  Cmd->OnChanged = [this, Cmd](TComponent* Target, bool Deleted) {
    if (Deleted && Cmd->Holds(dynamic_cast<TComponent*>(FProps->Instance())))
      FProps->SetInstance(nullptr, nullptr);
    FTree->Reload();
    FRun.Connect(FView);
    if (!Deleted) Select(Target);
    FWidget->update();
  };
  try {
    FUndo.push(Cmd);
  } catch (const std::exception& E) {
    statusBar()->showMessage(E.what(), 8000);
  }
  return true;
}

void TLumStudioWindow::SaveAs(bool AsForm) {
  const QString Name =
      QFileDialog::getSaveFileName(this, AsForm ? "Save as form" : "Save as scene", QString(),
                                   AsForm ? "Forms (*.lumform)" : "LUMGL scenes (*.lumgl)");
  if (Name.isEmpty() || !OnSave) return;
  try {
    OnSave(Name.toStdString(), AsForm);
    statusBar()->showMessage("saved " + Name, 6000);
  } catch (const std::exception& E) {
    QMessageBox::warning(this, "lumox studio", E.what());
  }
}

}  // namespace lumox
