// `lumox studio [FILE]`: a form or a scene in a window with the component tree and the
// property editor beside the view. Edits go through the properties' setters and can be
// undone; components are added from the palette pages and deleted; a click on the view
// selects what it hits; the whole can be saved as a form or as a LUMGL scene.
#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QFileDialog>
#include <QHeaderView>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QScrollArea>
#include <QStatusBar>
#include <QTimer>
#include <QTreeView>
#include <QUndoStack>
#include <algorithm>
#include <cstdio>
#include <memory>

#include "apps/lumox/studio/formapp.h"
#include "apps/lumox/studio/inspector.h"
#include "apps/lumox/studiocmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/qt/lumqtview.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

// The component named Name under Owner at any depth (nodes of a scene own their items),
// breadth first with a list of its own: scenes may nest deeper than the call stack.
TComponent* FindNamed(TComponent* Owner, const std::string& Name) {
  if (Name.empty()) return nullptr;
  std::vector<TComponent*> Level{Owner};
  for (size_t I = 0; I < Level.size(); ++I) {
    if (TComponent* C = Level[I]->FindComponent(Name)) return C;
    for (int K = 0; K < Level[I]->ComponentCount(); ++K) Level.push_back(Level[I]->Components(K));
  }
  return nullptr;
}

class TStudioWindow : public QMainWindow {
 public:
  TStudioWindow(TComponent* Form, TLumView* View, const std::string& File)
      : FForm(Form), FRun(Form), FView(View), FFile(File) {
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
    FPropView->setEditTriggers(QAbstractItemView::DoubleClicked |
                               QAbstractItemView::SelectedClicked |
                               QAbstractItemView::EditKeyPressed);
    FProps->OnError = [this](const std::string& M) {
      statusBar()->showMessage(QString::fromStdString(M), 8000);
    };
    FProps->OnEdited = [this](TPersistent*, const TLumPropInfo* Prop) {
      // A reference (a node) may have moved components: the tree is read again.
      if (Prop->Kind == pkComponent) {
        TComponent* Current = FTree->Component(FTreeView->currentIndex());
        FTree->Reload();
        FRun.Connect(FView);
        if (Current) Select(Current);
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
      if (Button == mbLeft && (QPoint(X, Y) - FPressed).manhattanLength() <= 3)
        Select(LumPickComponent(FView, X, Y));
    };
    setWindowTitle(QString::fromStdString("lumox studio " + (File.empty() ? "(demo)" : File)));
  }
  ~TStudioWindow() override {
    // The commands' components and then the scene go while the view's context lives.
    FUndo.clear();
    FProps->SetInstance(nullptr, nullptr);
    FView->OnMouseDown = nullptr;
    FView->OnMouseUp = nullptr;
    LumFreeScene(FForm);
    FView->OnRender = nullptr;  // it calls on FRun, which goes with the window
  }
  TLumQtView* Widget() const { return FWidget; }
  void Select(TComponent* C) {
    const QModelIndex At = C ? FTree->IndexOf(C) : QModelIndex();
    if (!At.isValid()) return statusBar()->showMessage("nothing selectable there", 4000);
    FTreeView->setCurrentIndex(At);
    FTreeView->scrollTo(At);
  }
  // Expands the first levels of the tree and the properties, for a first look.
  void Expand(const std::string& Component) {
    FTreeView->expandToDepth(0);
    if (TComponent* C = FindNamed(FForm, Component)) Select(C);
    FPropView->expandToDepth(0);
  }

 private:
  template <typename M>
  QTreeView* Dock(M* Model, const char* Title, Qt::DockWidgetArea Area) {
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
  // The widget takes the view's size, at most 4096 a side: a larger framebuffer would
  // take gigabytes, and the widget's size then becomes the view's.
  void FitWidget() {
    FWidget->setFixedSize(std::clamp(FView->Width(), 1, 4096),
                          std::clamp(FView->Height(), 1, 4096));
  }
  void Show(TComponent* C) {
    FProps->SetInstance(C, FForm);
    FPropView->expandToDepth(0);
  }
  void Menus() {
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
    Edit->addAction("&Delete component (cannot be undone)", this, [this] { Delete(); });
    QMenu* Add = menuBar()->addMenu("&Add");
    for (const char* Page : {"Lumox", "Lumox Obj"}) {
      QMenu* Sub = Add->addMenu(Page);
      for (const TLumClassInfo* Class : GetClassInfos())
        if (Class->PalettePage() == Page && Class->CanCreate() && Class->IsComponent())
          Sub->addAction(QString::fromStdString(Class->ClassName()), this,
                         [this, Class] { AddComponent(Class); });
    }
  }
  // A new render component goes into the selected node, or the node of the selected
  // component, or the scene's first node.
  TLumNode* TargetNode() const {
    TComponent* C = FTree->Component(FTreeView->currentIndex());
    if (auto* N = dynamic_cast<TLumNode*>(C)) return N;
    if (auto* R = dynamic_cast<TLumRender*>(C))
      if (auto* N = dynamic_cast<TLumNode*>(R->Node())) return N;
    return FRun.RootNode();
  }
  void AddComponent(const TLumClassInfo* Class) {
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
  void Delete() {
    TComponent* C = FTree->Component(FTreeView->currentIndex());
    if (!C) return;
    if (C == FView)
      return statusBar()->showMessage("the view the studio shows cannot be deleted", 6000);
    // Deleting is not undoable: the edits recorded so far may refer to what goes.
    FUndo.clear();
    FProps->SetInstance(nullptr, nullptr);
    delete C;
    FTree->Reload();
    FRun.Connect(FView);
    statusBar()->showMessage("deleted; the undo history was cleared", 6000);
  }
  void SaveAs(bool AsForm) {
    const QString Name =
        QFileDialog::getSaveFileName(this, AsForm ? "Save as form" : "Save as scene", QString(),
                                     AsForm ? "Forms (*.lumform)" : "LUMGL scenes (*.lumgl)");
    if (Name.isEmpty()) return;
    try {
      SaveStudioFile(FForm, FView, Name.toStdString(), AsForm);
      statusBar()->showMessage("saved " + Name, 6000);
    } catch (const std::exception& E) {
      QMessageBox::warning(this, "lumox studio", E.what());
    }
  }

  TComponent* FForm;
  TLumFormApp FRun;
  TLumView* FView;
  std::string FFile;
  QUndoStack FUndo;
  TLumQtView* FWidget;
  TLumTreeModel* FTree;
  TLumPropertyModel* FProps;
  QTreeView* FTreeView;
  QTreeView* FPropView;
  QPoint FPressed;
};

}  // namespace

void SaveStudioFile(TComponent* Form, TLumView* View, const std::string& File, bool AsForm) {
  if (AsForm) return SaveComponentForm(Form, File);
  TLumFormApp Run(Form);
  TLumNode* Root = Run.RootNode();
  if (!Root) throw Exception("The form holds no node: there is no scene to save.");
  TLumExchange Ex(nullptr);
  Ex.SetFileName(File);
  SaveWithCamera(&Ex, Root, View->Camera());
}

int StudioUsage() {
  std::printf(
      "usage: lumox studio [FILE.lumform | FILE.lumgl] [options]\n"
      "\n"
      "Opens a form or a scene (without FILE: the built-in demo) with the component tree\n"
      "and the property editor beside the view. Edits can be undone; Add places components\n"
      "from the palette; a click on the view selects what it hits; File saves the whole as\n"
      "a form or the scene as a LUMGL file.\n"
      "\n"
      "  --size WxH            window size (default 1100x640)\n"
      "  --select NAME         select a component at the start\n"
      "  --save OUT            save as a form (.lumform) or a scene (.lumgl) before quitting\n"
      "  --drag DX,DY          drag with the left button from the view's centre once shown\n"
      "  --quit-after SECONDS  close the window after this time\n"
      "  --screenshot OUT.png  write the window's image just before quitting\n");
  return 0;
}

int RunStudio(const TArgs& Args) {
  TArgs Rest;
  std::string Selected, SaveTo;
  for (size_t I = 0; I < Args.size(); ++I) {
    if (Args[I] == "--help") return StudioUsage();
    if (Args[I] == "--select" && I + 1 < Args.size())
      Selected = Args[++I];
    else if (Args[I] == "--save" && I + 1 < Args.size())
      SaveTo = Args[++I];
    else
      Rest.push_back(Args[I]);
  }
  TWindowOptions O;
  if (int Status = ParseWindowArgs(Rest, O)) return Status;
  if (!SaveTo.empty() && !O.QuitAfter) return BadUsage("--save needs --quit-after SECONDS");
  LumQtSetDefaultFormat();
  int Argc = 1;
  char Name[] = "lumox";
  char* Argv[] = {Name, nullptr};
  QApplication App(Argc, Argv);
  TComponent Form(nullptr);
  TLumView* View = nullptr;
  try {
    if (IsFormPath(O.File)) {
      LoadComponentForm(&Form, O.File);
      View = TLumFormApp(&Form).FirstView();
      if (!View) View = TLumFormApp(&Form).EnsureView(nullptr);
    } else {
      auto* Root = new TLumNode(&Form);
      Root->SetName("Scene");
      TSceneLoad Load;
      if (O.File.empty()) {
        LoadDemoScene(&Form, Root);
        // The demo's camera as lumox view frames it: a little above the floor.
        auto* Camera = new TLumPerspectiveCamera(&Form);
        Camera->SetName("Camera1");
        Camera->Transformation()->Rotation()->SetX(22);
        Camera->Transformation()->Translation()->SetValues(0, -2.611f, -6.063f);
        Camera->SetViewAngle(40);
        Camera->SetViewNear(1);
        Camera->SetViewFar(30);
        Load.Camera = Camera;
      } else {
        LoadScene(O.File, &Form, Root, &Load);
      }
      PrintWarnings(Load.Warnings);
      View = TLumFormApp(&Form).EnsureView(Load.Camera);
      View->SetBounds(640, 480);
      if (O.File.empty()) View->SetBackgroundColor(0x281810);
    }
  } catch (const std::exception& E) {
    return Fail(O.File, E.what());
  }
  auto Window = std::make_unique<TStudioWindow>(&Form, View, O.File);
  Window->resize(O.Width ? O.Width : 1100, O.Height ? O.Height : 640);
  Window->show();
  Window->Expand(Selected);
  if (O.Drag) QTimer::singleShot(200, Window.get(), [&] { ScriptDrag(Window->Widget(), *O.Drag); });
  int Status = 0;
  if (O.QuitAfter)
    QTimer::singleShot(static_cast<int>(*O.QuitAfter * 1000), Window.get(), [&] {
      if (!O.Screenshot.empty() && !GrabScreenshot(Window.get(), O.Screenshot))
        Status = ExitFailure;
      if (!SaveTo.empty()) try {
          SaveStudioFile(&Form, View, SaveTo, IsFormPath(SaveTo));
        } catch (const std::exception& E) {
          Status = Fail(SaveTo, E.what());
        }
      Window->close();
    });
  App.exec();
  Window.reset();
  return Status;
}

}  // namespace lumoxcmd
