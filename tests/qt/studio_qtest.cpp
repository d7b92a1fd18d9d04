// The inspector's models on a real X server: edits through the property model reach
// the components and the view's pixels, undo and redo restore them, the edited form
// saves and reads back equal; references offer only what they accept; enumerations,
// sets and owned objects; adding from the palette; selecting what a pick hits.
#include <gtest/gtest.h>

#include <QTest>
#include <QUndoStack>
#include <functional>
#include <memory>

#include "apps/lumox/formapp.h"
#include "apps/lumox/studio/studiomodels.h"
#include "apps/lumox/studio/window.h"
#include "lumox/control/lumcntrl.h"
#include "lumox/control/lumtimer.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/host/formfile.h"
#include "lumox/host/graphics.h"
#include "lumox/qt/lumqtview.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"

using namespace lumox;

namespace {

// A lit grey sphere of radius 0.5 in a node, seen from 2 units by a 160 x 120 view on
// a black background, hosted in a shown widget; a second camera, a mouse controller and
// two timers besides.
struct TStudioScene {
  TComponent Form{nullptr};
  TLumView* View;
  TLumNode* Root;
  TLumMaterial* Mat;
  TLumSphere* Ball;
  TLumPerspectiveCamera* Eye;
  TLumFormApp Run{&Form};
  std::unique_ptr<TLumQtView> Widget;
  QUndoStack Undo;
  TLumPropertyModel Props{&Undo};

  TStudioScene() {
    View = Named(new TLumView(&Form), "View1");
    View->SetBounds(160, 120);
    View->SetBackgroundColor(0);
    Eye = Named(new TLumPerspectiveCamera(&Form), "Eye");
    Eye->Transformation()->Translation()->SetZ(-2);
    Named(new TLumPerspectiveCamera(&Form), "Other");
    auto* Mouse = Named(new TLumMouseController(&Form), "Mouse");
    Mouse->SetControlled(Eye);
    View->SetCamera(Eye);
    View->SetController(Mouse);
    Named(new TLumTimer(&Form), "Timer1")->SetEnabled(false);
    Named(new TLumTimer(&Form), "Timer2")->SetEnabled(false);
    Root = Named(new TLumNode(&Form), "Root");
    auto* Lit = Named(new TLumAttributes(&Form), "Lit");
    Lit->SetLighting(true);
    Lit->SetNode(Root);
    auto* Sun = Named(new TLumLight(&Form), "Sun");
    Sun->SetKind(lkDirection);
    Sun->Direction()->SetValues(0, 0, 1);
    Sun->SetNode(Root);
    Mat = Named(new TLumMaterial(&Form), "Mat");
    Mat->ColorDiffuse()->SetColor(0x808080);
    Mat->SetNode(Root);
    Ball = Named(new TLumSphere(&Form), "Ball");
    Ball->SetRadius(0.5f);
    Ball->SetNode(Root);
    Widget = std::make_unique<TLumQtView>(View);
    Run.Connect(View);
    Widget->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(Widget.get()));
  }
  ~TStudioScene() {
    Undo.clear();
    LumFreeScene(&Form);
    Widget.reset();
  }
  template <typename C>
  static C* Named(C* Comp, const char* Name) {
    Comp->SetName(Name);
    return Comp;
  }
  TBitmap Image() {
    TBitmap B(View->Width(), View->Height());
    EXPECT_TRUE(View->GetImage(&B));
    return B;
  }
  bool Set(TPersistent* Instance, const char* Path, const QVariant& Value,
           int Role = Qt::EditRole) {
    Props.SetInstance(Instance, &Form);
    const QModelIndex At = Props.Find(Path);
    EXPECT_TRUE(At.isValid()) << Path;
    return Props.setData(At, Value, Role);
  }
};

int Red(uint32_t C) { return int(C & 0xFF); }
int Green(uint32_t C) { return int((C >> 8) & 0xFF); }

TEST(StudioTest, RefusalsChangeNothingEditsReachComponentAndPixelsUndoRedoAndSaveEqual) {
  TStudioScene S;
  std::string Error;
  S.Props.OnError = [&](const std::string& M) { Error = M; };
  // A name in use is the setter's refusal; a colour that is no colour the model's.
  EXPECT_FALSE(S.Set(S.Ball, "Name", QString("Mat")));
  EXPECT_NE(Error.find("Mat"), std::string::npos) << Error;
  EXPECT_EQ(S.Ball->Name(), "Ball");
  EXPECT_FALSE(S.Set(S.Ball, "Radius", QString("wide")));
  EXPECT_FLOAT_EQ(S.Ball->Radius(), 0.5f);
  EXPECT_EQ(S.Undo.count(), 0);
  // A value the setter leaves as it was is no edit either.
  EXPECT_TRUE(S.Set(S.Ball, "Radius", 0.5));
  EXPECT_EQ(S.Undo.count(), 0);

  // Off the centre by more than a sphere of 0.5 covers and less than one of 0.8.
  const int X = 80 + 48, Y = 60;
  const TBitmap Before = S.Image();
  EXPECT_EQ(Before.GetPixel(X, Y), 0u);
  EXPECT_GT(Green(Before.GetPixel(80, 60)), 40);

  ASSERT_TRUE(S.Set(S.Ball, "Radius", 0.8));
  EXPECT_FLOAT_EQ(S.Ball->Radius(), 0.8f);
  EXPECT_NE(S.Image().GetPixel(X, Y), 0u);
  ASSERT_TRUE(S.Set(S.Mat, "ColorDiffuse", QColor(255, 0, 0, 128)));
  EXPECT_EQ(S.Mat->ColorDiffuse()->Color(), 0x0000FFu);
  EXPECT_FLOAT_EQ(S.Mat->ColorDiffuse()->Alpha(), 128 / 255.0f);
  const uint32_t Centre = S.Image().GetPixel(80, 60);
  EXPECT_GT(Red(Centre), 60);
  EXPECT_LT(Green(Centre) * 4, Red(Centre));
  // The colour's two values are one step: two steps in all.
  EXPECT_EQ(S.Undo.count(), 2);

  S.Undo.undo();
  S.Undo.undo();
  EXPECT_FLOAT_EQ(S.Ball->Radius(), 0.5f);
  EXPECT_EQ(S.Mat->ColorDiffuse()->Color(), 0x808080u);
  EXPECT_FLOAT_EQ(S.Mat->ColorDiffuse()->Alpha(), 1.0f);
  const TBitmap Undone = S.Image();
  EXPECT_EQ(Undone.GetPixel(X, Y), 0u);
  EXPECT_EQ(Undone.GetPixel(80, 60), Before.GetPixel(80, 60));

  S.Undo.redo();
  S.Undo.redo();
  EXPECT_FLOAT_EQ(S.Ball->Radius(), 0.8f);
  EXPECT_EQ(S.Mat->ColorDiffuse()->Color(), 0x0000FFu);
  EXPECT_EQ(S.Image().GetPixel(80, 60), Centre);

  // The edited form reads back to the same form, with the edits.
  const std::string Text = ComponentFormText(&S.Form);
  TComponent Back(nullptr);
  ReadComponentFormText(&Back, Text, "edited.lumform");
  EXPECT_EQ(ComponentFormText(&Back), Text);
  EXPECT_NE(Text.find("Radius = 0.8"), std::string::npos) << Text;
}

TEST(StudioTest, ReferencesOfferWhatTheyAcceptAndEnumerationsSetsAndObjectsEdit) {
  TStudioScene S;
  S.Props.SetInstance(S.View, &S.Form);
  const QModelIndex Camera = S.Props.Find("Camera");
  const QStringList Cameras = Camera.data(TLumPropertyModel::ChoicesRole).toStringList();
  EXPECT_EQ(Cameras, QStringList({"(none)", "Eye", "Other"}));
  EXPECT_FALSE(S.Props.setData(Camera, QString("Ball")));
  EXPECT_EQ(S.View->Camera(), S.Eye);
  ASSERT_TRUE(S.Props.setData(Camera, QString("Other")));
  EXPECT_EQ(S.View->Camera()->Name(), "Other");
  S.Undo.undo();
  EXPECT_EQ(S.View->Camera(), S.Eye);

  // A timer's parent is any timer but itself.
  auto* Timer = S.Form.FindComponent("Timer1");
  S.Props.SetInstance(Timer, &S.Form);
  EXPECT_EQ(S.Props.Find("Parent").data(TLumPropertyModel::ChoicesRole).toStringList(),
            QStringList({"(none)", "Timer2"}));
  // The editor gives the place in the list.
  ASSERT_TRUE(S.Props.setData(S.Props.Find("Parent"), qlonglong(1)));
  EXPECT_EQ(static_cast<TLumTimer*>(Timer)->Parent()->Name(), "Timer2");

  // A nested enumeration, by ordinal as the editor gives it and by name.
  S.Props.SetInstance(S.Eye, &S.Form);
  const QModelIndex Order = S.Props.Find("Transformation.Order");
  ASSERT_TRUE(Order.isValid());
  EXPECT_TRUE(Order.data(TLumPropertyModel::NamesRole).toStringList().contains("toTraRotSca"));
  ASSERT_TRUE(S.Props.setData(Order, qlonglong(toTraRotSca)));
  EXPECT_EQ(S.Eye->Transformation()->Order(), toTraRotSca);
  ASSERT_TRUE(S.Props.setData(Order, QString("toRotTraSca")));
  EXPECT_EQ(Order.data(Qt::DisplayRole).toString(), "toRotTraSca");
  S.Undo.undo();
  EXPECT_EQ(S.Eye->Transformation()->Order(), toTraRotSca);
  EXPECT_FALSE(S.Props.setData(Order, qlonglong(9)));

  // A set element and a boolean are check boxes.
  auto* Mouse = static_cast<TLumMouseController*>(S.Form.FindComponent("Mouse"));
  S.Props.SetInstance(Mouse, &S.Form);
  const QModelIndex MoveZ = S.Props.Find("CntrlFlags.teMoveZ");
  ASSERT_TRUE(MoveZ.isValid());
  EXPECT_EQ(MoveZ.data(Qt::CheckStateRole).toInt(), Qt::Checked);
  ASSERT_TRUE(S.Props.setData(MoveZ, Qt::Unchecked, Qt::CheckStateRole));
  EXPECT_FALSE(Mouse->CntrlFlags().Contains(teMoveZ));
  EXPECT_TRUE(Mouse->CntrlFlags().Contains(teMoveX));
  EXPECT_EQ(S.Props.Find("CntrlFlags").data().toString().toStdString().find("teMoveZ"),
            std::string::npos);
  S.Undo.undo();
  EXPECT_TRUE(Mouse->CntrlFlags().Contains(teMoveZ));
  S.Props.SetInstance(S.View, &S.Form);
  const QModelIndex Visible = S.Props.Find("Coordinates.Visible");
  ASSERT_TRUE(S.Props.setData(Visible, Qt::Checked, Qt::CheckStateRole));
  EXPECT_TRUE(S.View->Coordinates()->Visible());
  // Read-only properties take no edit.
  EXPECT_FALSE(S.Props.flags(S.Props.Find("Active")) & Qt::ItemIsEditable);
  EXPECT_FALSE(S.Props.setData(S.Props.Find("Active"), Qt::Unchecked, Qt::CheckStateRole));

  // An owned object's values set as a whole are kept as copies for undo.
  TLumColor Green;
  Green.SetColor(0x00FF00);
  Green.SetAlpha(0.25f);
  S.Props.SetInstance(S.Mat, &S.Form);
  ASSERT_TRUE(S.Props.SetObjectValue(S.Props.Find("ColorDiffuse"), &Green));
  Green.SetColor(0x123456);  // the command holds its own copy
  EXPECT_EQ(S.Mat->ColorDiffuse()->Color(), 0x00FF00u);
  S.Undo.undo();
  EXPECT_EQ(S.Mat->ColorDiffuse()->Color(), 0x808080u);
  S.Undo.redo();
  EXPECT_EQ(S.Mat->ColorDiffuse()->Color(), 0x00FF00u);
  EXPECT_FLOAT_EQ(S.Mat->ColorDiffuse()->Alpha(), 0.25f);
}

TEST(StudioTest, TreeOrdersComponentsAddsUndoablyAndSelectsWhatAPickHits) {
  TStudioScene S;
  TLumTreeModel Tree(&S.Form);
  QStringList Top;
  for (int I = 0; I < Tree.rowCount(); ++I) Top << Tree.index(I, 0).data().toString();
  EXPECT_EQ(Top, QStringList({"Root", "View1", "Eye", "Other", "Mouse", "Timer1", "Timer2"}));
  const QModelIndex Root = Tree.index(0, 0);
  EXPECT_EQ(Tree.rowCount(Root), 4);
  EXPECT_EQ(Tree.Component(Tree.index(3, 0, Root)), S.Ball);

  // An item a second node only refers to is shown under both, each with its own parent.
  auto* Extra = TStudioScene::Named(new TLumNode(&S.Form), "Extra");
  Extra->AddIndirect(S.Ball);
  Tree.Reload();
  const QModelIndex ExtraAt = Tree.IndexOf(Extra);
  ASSERT_TRUE(ExtraAt.isValid());
  EXPECT_EQ(ExtraAt.row(), 1);
  const QModelIndex Again = Tree.index(0, 0, ExtraAt);
  EXPECT_EQ(Tree.Component(Again), S.Ball);
  EXPECT_EQ(Tree.Component(Tree.parent(Again)), Extra);
  EXPECT_EQ(Tree.Component(Tree.parent(Tree.index(3, 0, Tree.index(0, 0)))), S.Root);

  // The tree finds the ball in its node (the window's test clicks on it).
  const QModelIndex At = Tree.IndexOf(S.Ball);
  ASSERT_TRUE(At.isValid());
  EXPECT_EQ(Tree.Component(Tree.parent(At)), S.Root);
  EXPECT_EQ(LumPickComponent(S.View, 2, 2), nullptr);

  // Adding from the palette: into the node, named after the class; undo takes it out,
  // redo puts the same component back, so that its later edits still apply.
  const TLumClassInfo* Sphere = FindClassInfo("TLumSphere");
  ASSERT_TRUE(Sphere && Sphere->PalettePage() == "Lumox Obj");
  int Changes = 0;
  auto* Add = new TLumAddCommand(&S.Form, Sphere, S.Root, [&](TComponent*, bool) { ++Changes; });
  S.Undo.push(Add);
  TComponent* Made = Add->Component();
  EXPECT_EQ(Made->Name(), "Sphere1");
  EXPECT_EQ(S.Root->GetCount(), 5);
  ASSERT_TRUE(S.Set(Made, "Radius", 0.1));
  S.Undo.undo();
  S.Undo.undo();
  EXPECT_EQ(S.Root->GetCount(), 4);
  EXPECT_EQ(S.Form.FindComponent("Sphere1"), nullptr);
  S.Undo.redo();
  EXPECT_EQ(S.Form.FindComponent("Sphere1"), Made);
  S.Undo.redo();
  EXPECT_FLOAT_EQ(static_cast<TLumSphere*>(Made)->Radius(), 0.1f);
  EXPECT_EQ(Changes, 3);
  Tree.Reload();
  EXPECT_EQ(Tree.Component(Tree.IndexOf(Made)), Made);
  // Undone and dropped, the command frees the component it holds.
  S.Undo.undo();
  S.Undo.undo();
  S.Undo.clear();
  EXPECT_EQ(S.Root->GetCount(), 4);
}

// The window: a click on the view selects what it hits in the tree and shows its
// properties; adding goes into the current node and undoes; deleting undoes too, and
// refuses the view shown.
TEST(StudioTest, WindowSelectsByClickAddsAndDeletes) {
  TComponent Form(nullptr);
  auto* View = TStudioScene::Named(new TLumView(&Form), "View1");
  View->SetBounds(160, 120);
  auto* Eye = TStudioScene::Named(new TLumPerspectiveCamera(&Form), "Eye");
  Eye->Transformation()->Translation()->SetZ(-2);
  View->SetCamera(Eye);
  auto* Root = TStudioScene::Named(new TLumNode(&Form), "Root");
  auto* Ball = TStudioScene::Named(new TLumSphere(&Form), "Ball");
  Ball->SetNode(Root);
  TLumStudioWindow Window(&Form, View, "studio");
  Window.resize(700, 400);
  Window.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&Window));
  QTest::mouseClick(Window.Widget(), Qt::LeftButton, {}, QPoint(80, 60));
  EXPECT_EQ(Window.Current(), Ball);
  EXPECT_EQ(Window.Properties()->Instance(), Ball);
  QTest::mouseClick(Window.Widget(), Qt::LeftButton, {}, QPoint(3, 3));
  EXPECT_EQ(Window.Current(), Ball);  // a click on nothing keeps the selection

  Window.AddComponent(FindClassInfo("TLumMaterial"));
  ASSERT_EQ(Root->GetCount(), 2);
  TComponent* Made = Root->GetItems(1);
  EXPECT_EQ(Made->Name(), "Material1");
  EXPECT_EQ(Window.Current(), Made);
  Window.UndoStack()->undo();
  EXPECT_EQ(Root->GetCount(), 1);

  EXPECT_TRUE(Window.Select(View));
  EXPECT_FALSE(Window.DeleteCurrent());
  EXPECT_EQ(Form.FindComponent("View1"), View);
  EXPECT_TRUE(Window.Select(Ball));
  EXPECT_TRUE(Window.DeleteCurrent());
  EXPECT_EQ(Root->GetCount(), 0);
  EXPECT_EQ(Form.FindComponent("Ball"), nullptr);
  EXPECT_EQ(Window.Properties()->Instance(), nullptr);
  EXPECT_EQ(Window.Tree()->IndexOf(Root), Window.Tree()->index(0, 0));
  Window.UndoStack()->undo();
  EXPECT_EQ(Root->GetItems(0), Ball);
  EXPECT_EQ(Window.Current(), Ball);
}

// Deleting puts back on undo the same components in the same places: a ball held by a
// node and referred to by a second one, a material and a camera others refer to, a node
// with what it holds. The form's text and the view's pixels come back as they were.
TEST(StudioTest, DeletesUndoToTheSamePlacesAndReferences) {
  TStudioScene S;
  auto* Extra = TStudioScene::Named(new TLumNode(&S.Form), "Extra");
  auto* Crate = TStudioScene::Named(new TLumBox(&S.Form), "Crate");
  Crate->SetMaterial(S.Mat);
  Crate->Transformation()->Translation()->SetY(5);  // out of sight
  Extra->Add(Crate);
  Extra->AddIndirect(S.Ball);
  S.Ball->SetMaterial(S.Mat);
  auto* Mouse = static_cast<TLumMouseController*>(S.Form.FindComponent("Mouse"));
  auto* Timer1 = static_cast<TLumTimer*>(S.Form.FindComponent("Timer1"));
  auto* Timer2 = static_cast<TLumTimer*>(S.Form.FindComponent("Timer2"));
  Timer1->SetEnabled(true);
  Timer2->SetParent(Timer1);
  const std::string Before = ComponentFormText(&S.Form);
  const uint32_t Centre = S.Image().GetPixel(80, 60);
  ASSERT_NE(Centre, 0u);
  struct TCase {
    TComponent* Target;
    std::function<void()> CheckGone;
  };
  const TCase Cases[] = {{S.Ball,
                          [&] {
                            EXPECT_EQ(S.Root->GetCount(), 3);
                            EXPECT_EQ(Extra->GetCount(), 1);
                            EXPECT_EQ(S.Form.FindComponent("Ball"), nullptr);
                          }},
                         {S.Mat,
                          [&] {
                            EXPECT_EQ(S.Ball->Material(), nullptr);
                            EXPECT_EQ(Crate->Material(), nullptr);
                            EXPECT_EQ(S.Root->IndexOf(S.Mat), -1);
                          }},
                         {S.Eye,
                          [&] {
                            EXPECT_EQ(S.View->Camera(), nullptr);
                            EXPECT_EQ(Mouse->Controlled(), nullptr);
                          }},
                         // Taken out, a timer stops; its child stays listed once.
                         {Timer1,
                          [&] {
                            EXPECT_FALSE(Timer1->Enabled());
                            EXPECT_EQ(Timer2->Parent(), Timer1);
                            EXPECT_EQ(Timer1->ChildCount(), 1);
                          }},
                         {S.Root, [&] {
                            for (const char* Name : {"Root", "Lit", "Sun", "Mat", "Ball"})
                              EXPECT_EQ(S.Form.FindComponent(Name), nullptr) << Name;
                            EXPECT_EQ(Extra->GetCount(), 1);  // its reference to the ball goes too
                            EXPECT_EQ(S.Image().GetPixel(80, 60), 0u);
                          }}};
  for (const TCase& C : Cases) {
    SCOPED_TRACE(C.Target->Name());
    const int Index = C.Target->ComponentIndex();
    auto* Delete = new TLumDeleteCommand(&S.Form, C.Target);
    S.Undo.push(Delete);
    EXPECT_TRUE(Delete->Holds(C.Target));
    C.CheckGone();
    S.Undo.undo();
    EXPECT_EQ(ComponentFormText(&S.Form), Before);
    EXPECT_TRUE(Timer1->Enabled());
    EXPECT_EQ(Timer1->ChildCount(), 1);
    EXPECT_EQ(C.Target->ComponentIndex(), Index);
    EXPECT_EQ(S.Image().GetPixel(80, 60), Centre);
    S.Undo.redo();
    C.CheckGone();
    S.Undo.undo();
    EXPECT_EQ(ComponentFormText(&S.Form), Before);
  }
  // The edits recorded before a delete still apply to the component put back.
  ASSERT_TRUE(S.Set(S.Ball, "Radius", 0.3));
  S.Undo.push(new TLumDeleteCommand(&S.Form, S.Root));
  S.Undo.undo();
  S.Undo.undo();
  EXPECT_FLOAT_EQ(S.Ball->Radius(), 0.5f);
  // Dropped while it holds them, the command frees what it took out.
  S.Undo.redo();
  S.Undo.redo();
  S.Undo.clear();
  EXPECT_EQ(S.Form.FindComponent("Root"), nullptr);
  EXPECT_EQ(Extra->GetCount(), 1);
}

// Nodes a hundred thousand deep: the tree finds the leaf, and a reference lists every
// node, without a call per level on the stack.
TEST(StudioTest, DeeplyNestedScenesNeedNoDeepCallStack) {
  constexpr int Many = 100000;
  TComponent Form(nullptr);
  auto* Root = TStudioScene::Named(new TLumNode(&Form), "Root");
  TLumNode* At = Root;
  for (int I = 0; I < Many; ++I) {
    auto* N = new TLumNode(At);
    At->Add(N);
    At = N;
  }
  auto* Leaf = new TLumSphere(At);
  At->Add(Leaf);
  TLumTreeModel Tree(&Form);
  const QModelIndex Index = Tree.IndexOf(Leaf);
  ASSERT_TRUE(Index.isValid());
  EXPECT_EQ(Tree.Component(Index), Leaf);
  int Depth = 0;
  for (QModelIndex P = Index; P.isValid(); P = Tree.parent(P)) ++Depth;
  EXPECT_EQ(Depth, Many + 2);
  QUndoStack Undo;
  TLumPropertyModel Props(&Undo);
  Props.SetInstance(Leaf, &Form);
  EXPECT_EQ(Props.Choices(Props.Find("Node")).size(), size_t(Many) + 2);  // none, every node
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  LumQtSetDefaultFormat();
  QApplication App(argc, argv);
  return RUN_ALL_TESTS();
}
