// The property model, its edit command and its delegate.
#include <QColor>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QUndoStack>
#include <cfloat>
#include <cmath>
#include <limits>

#include "apps/lumox/studio/studiomodels.h"

namespace lumox {

namespace {

// Nested objects deeper than this are not expanded (no class nests nearly as deep).
constexpr int MaxDepth = 8;

bool IsColorObject(const TLumPropInfo* P) {
  return P->Kind == pkObject && P->ClassInfo && P->ClassInfo->ClassName() == "TLumColor";
}

// TColor is $00BBGGRR.
QColor ToQColor(uint32_t C, double Alpha = 1) {
  QColor Q(int(C & 0xFF), int((C >> 8) & 0xFF), int((C >> 16) & 0xFF));
  Q.setAlphaF(static_cast<float>(std::clamp(Alpha, 0.0, 1.0)));
  return Q;
}
uint32_t FromQColor(const QColor& Q) {
  return uint32_t(Q.red()) | (uint32_t(Q.green()) << 8) | (uint32_t(Q.blue()) << 16);
}

std::string ComponentText(const TComponent* C) {
  if (!C) return "(none)";
  if (!C->Name().empty()) return C->Name();
  return std::string("(") + C->ClassName() + ")";
}

// Every component of Owner, depth first (nodes of a loaded scene own their items), with
// a list of its own rather than recursion: scenes may nest deeper than the call stack.
void EachComponent(TComponent* Owner, const std::function<void(TComponent*)>& Each) {
  std::vector<std::pair<TComponent*, int>> Stack{{Owner, 0}};
  while (!Stack.empty()) {
    auto& [At, Next] = Stack.back();
    if (Next >= At->ComponentCount()) {
      Stack.pop_back();
      continue;
    }
    TComponent* C = At->Components(Next++);
    Each(C);
    Stack.emplace_back(C, 0);
  }
}

std::unique_ptr<TPersistent> CopyOf(TPersistent* Obj) {
  if (!Obj) return nullptr;
  const TLumClassInfo* Class = GetClassInfo(Obj);
  if (!Class || !Class->CanCreateObject()) return nullptr;
  std::unique_ptr<TPersistent> Copy = Class->CreateObject();
  Copy->Assign(Obj);
  return Copy;
}

}  // namespace

// --- the edit command --------------------------------------------------------------------

TLumEditCommand::TLumEditCommand(TLumPropertyModel* Model, TPersistent* Instance,
                                 const TLumPropInfo* Prop, TLumValue Old, TLumValue New,
                                 QUndoCommand* Parent)
    : QUndoCommand(Parent),
      FModel(Model),
      FInstance(Instance),
      FProp(Prop),
      FOld(std::move(Old)),
      FNew(std::move(New)) {
  if (Prop->Kind == pkObject) {
    // The objects themselves change later: the command keeps copies of the values.
    FOldCopy = CopyOf(std::get<TPersistent*>(FOld));
    FNewCopy = CopyOf(std::get<TPersistent*>(FNew));
    FOld = FOldCopy.get();
    FNew = FNewCopy.get();
  }
  setText(QStringLiteral("set %1").arg(QString::fromStdString(Prop->Name)));
}

void TLumEditCommand::Apply(const TLumValue& Value) {
  try {
    FProp->SetValue(FInstance, Value);
  } catch (const std::exception& E) {
    // A value read back from the setter is taken again; should one be refused after all,
    // it is reported rather than thrown through Qt's event loop.
    if (FModel->OnError) FModel->OnError(E.what());
  }
  FModel->Refresh();
  if (FModel->OnEdited) FModel->OnEdited(FInstance, FProp);
}

void TLumEditCommand::undo() { Apply(FOld); }

void TLumEditCommand::redo() {
  if (FApplied) {
    FApplied = false;
    return;
  }
  Apply(FNew);
}

// --- the model ---------------------------------------------------------------------------

TLumPropertyModel::TLumPropertyModel(QUndoStack* Stack, QObject* Parent)
    : QAbstractItemModel(Parent), FStack(Stack) {}

TLumPropertyModel::~TLumPropertyModel() = default;

void TLumPropertyModel::SetInstance(TPersistent* Instance, TComponent* Owner) {
  beginResetModel();
  FTop.Children.clear();
  FInstance = Instance;
  FOwner = Owner;
  if (Instance) Build(&FTop, Instance, 0);
  endResetModel();
}

void TLumPropertyModel::Build(TRow* Into, TPersistent* Instance, int Depth) {
  const TLumClassInfo* Class = GetClassInfo(Instance);
  if (!Class) return;
  for (const TLumPropInfo* P : Class->Properties()) {
    if (P->Kind == pkEvent) continue;
    auto Row = std::make_unique<TRow>();
    Row->Instance = Instance;
    Row->Prop = P;
    Row->Parent = Into;
    Row->Row = static_cast<int>(Into->Children.size());
    if (P->Kind == pkObject && Depth < MaxDepth) {
      if (TPersistent* Obj = P->GetObject(Instance)) Build(Row.get(), Obj, Depth + 1);
    } else if (P->Kind == pkSet) {
      for (size_t B = 0; B < P->Names.size(); ++B) {
        auto E = std::make_unique<TRow>();
        E->Instance = Instance;
        E->Prop = P;
        E->Bit = static_cast<int>(B);
        E->Parent = Row.get();
        E->Row = static_cast<int>(B);
        Row->Children.push_back(std::move(E));
      }
    }
    Into->Children.push_back(std::move(Row));
  }
}

TLumPropertyModel::TRow* TLumPropertyModel::RowOf(const QModelIndex& Index) const {
  if (!Index.isValid()) return nullptr;
  auto* Parent = static_cast<TRow*>(Index.internalPointer());
  return Parent->Children[static_cast<size_t>(Index.row())].get();
}

QModelIndex TLumPropertyModel::index(int Row, int Column, const QModelIndex& Parent) const {
  const TRow* P = Parent.isValid() ? RowOf(Parent) : &FTop;
  if (!P || Row < 0 || Row >= static_cast<int>(P->Children.size()) || Column < 0 || Column > 1)
    return {};
  return createIndex(Row, Column, const_cast<TRow*>(P));
}

QModelIndex TLumPropertyModel::parent(const QModelIndex& Index) const {
  if (!Index.isValid()) return {};
  auto* P = static_cast<TRow*>(Index.internalPointer());
  if (P == &FTop) return {};
  return createIndex(P->Row, 0, P->Parent);
}

int TLumPropertyModel::rowCount(const QModelIndex& Parent) const {
  if (!Parent.isValid()) return static_cast<int>(FTop.Children.size());
  if (Parent.column() != 0) return 0;
  return static_cast<int>(RowOf(Parent)->Children.size());
}

int TLumPropertyModel::columnCount(const QModelIndex&) const { return 2; }

QVariant TLumPropertyModel::headerData(int Section, Qt::Orientation O, int Role) const {
  if (O != Qt::Horizontal || Role != Qt::DisplayRole) return {};
  return Section == 0 ? QStringLiteral("Property") : QStringLiteral("Value");
}

QModelIndex TLumPropertyModel::Find(const std::string& Path, int Column) const {
  const TRow* At = &FTop;
  QModelIndex Index;
  size_t Start = 0;
  while (Start <= Path.size()) {
    const size_t Dot = std::min(Path.find('.', Start), Path.size());
    const std::string Part = Path.substr(Start, Dot - Start);
    const TRow* Found = nullptr;
    for (const auto& C : At->Children) {
      const std::string& Name = C->Bit >= 0 ? C->Prop->Names[size_t(C->Bit)] : C->Prop->Name;
      if (Name == Part) Found = C.get();
    }
    if (!Found) return {};
    Index = createIndex(Found->Row, 0, const_cast<TRow*>(At));
    At = Found;
    Start = Dot + 1;
  }
  return Index.siblingAtColumn(Column);
}

Qt::ItemFlags TLumPropertyModel::flags(const QModelIndex& Index) const {
  const TRow* R = RowOf(Index);
  if (!R) return Qt::NoItemFlags;
  Qt::ItemFlags F = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
  const bool Writable = !R->Prop->ReadOnly && R->Prop->Setter;
  if (Index.column() != 1 || !Writable) return F;
  if (R->Bit >= 0 || R->Prop->Kind == pkBoolean) return F | Qt::ItemIsUserCheckable;
  if (R->Prop->Kind == pkSet || (R->Prop->Kind == pkObject && !IsColorObject(R->Prop))) return F;
  return F | Qt::ItemIsEditable;
}

std::vector<TComponent*> TLumPropertyModel::Choices(const QModelIndex& Index) const {
  const TRow* R = RowOf(Index);
  std::vector<TComponent*> List{nullptr};
  if (!R || R->Prop->Kind != pkComponent || !FOwner) return List;
  EachComponent(FOwner, [&](TComponent* C) {
    if (R->Prop->ClassInfo && !R->Prop->ClassInfo->IsInstance(C)) return;
    if (R->Prop->Accepts(R->Instance, C)) List.push_back(C);
  });
  return List;
}

QVariant TLumPropertyModel::data(const QModelIndex& Index, int Role) const {
  const TRow* R = RowOf(Index);
  if (!R) return {};
  const TLumPropInfo* P = R->Prop;
  if (Index.column() == 0) {
    if (Role == Qt::DisplayRole)
      return QString::fromStdString(R->Bit >= 0 ? P->Names[size_t(R->Bit)] : P->Name);
    if (Role == Qt::ToolTipRole && R->Bit < 0) {
      std::string Tip = P->TypeText();
      if (P->Range) Tip += ", " + P->Range->ToString();
      if (!P->Description.empty()) Tip += "\n" + P->Description;
      return QString::fromStdString(Tip);
    }
    return {};
  }
  if (Role == KindRole) return R->Bit >= 0 ? -1 : int(P->Kind);
  if (Role == NamesRole && P->Kind == pkEnumeration) {
    QStringList Names;
    for (const std::string& N : P->Names) Names << QString::fromStdString(N);
    return Names;
  }
  if (Role == MinRole || Role == MaxRole) {
    double Lo = -std::numeric_limits<double>::max(), Hi = std::numeric_limits<double>::max();
    if (P->Kind == pkInteger) Lo = std::numeric_limits<int32_t>::min(), Hi = INT32_MAX;
    if (P->Kind == pkCardinal) Lo = 0, Hi = UINT32_MAX;
    if (P->Range) {
      if (std::isfinite(P->Range->Min)) Lo = P->Range->Min;
      if (std::isfinite(P->Range->Max)) Hi = P->Range->Max;
    }
    return Role == MinRole ? Lo : Hi;
  }
  if (Role == ChoicesRole && P->Kind == pkComponent) {
    QStringList Names;
    for (TComponent* C : Choices(Index)) Names << QString::fromStdString(ComponentText(C));
    return Names;
  }
  if (P->Kind == pkObject) {
    TPersistent* Obj = P->GetObject(R->Instance);
    if (Role == Qt::DisplayRole)
      return Obj ? QStringLiteral("(%1)").arg(Obj->ClassName()) : "(none)";
    if (IsColorObject(P) && Obj && (Role == Qt::DecorationRole || Role == Qt::EditRole)) {
      const TLumClassInfo* C = P->ClassInfo;
      const TLumValue Rgb = C->FindProperty("Color")->GetValue(Obj);
      const TLumValue A = C->FindProperty("Alpha")->GetValue(Obj);
      return ToQColor(std::get<uint32_t>(Rgb), std::get<float>(A));
    }
    return {};
  }
  const TLumValue V = P->GetValue(R->Instance);
  if (R->Bit >= 0) {
    if (Role != Qt::CheckStateRole) return {};
    return (std::get<uint32_t>(V) >> R->Bit) & 1 ? Qt::Checked : Qt::Unchecked;
  }
  if (P->Kind == pkBoolean) {
    if (Role == Qt::CheckStateRole) return std::get<bool>(V) ? Qt::Checked : Qt::Unchecked;
    return {};
  }
  if (Role == Qt::DecorationRole && P->Kind == pkColor) return ToQColor(std::get<uint32_t>(V));
  if (Role == Qt::DisplayRole || Role == Qt::ToolTipRole) {
    if (P->Kind == pkComponent)
      return QString::fromStdString(ComponentText(std::get<TComponent*>(V)));
    return QString::fromStdString(P->FormatValue(V));
  }
  if (Role != Qt::EditRole) return {};
  switch (P->Kind) {
    case pkInteger:
    case pkEnumeration:
      return qlonglong(std::get<int64_t>(V));
    case pkCardinal:
    case pkSet:
      return qulonglong(std::get<uint32_t>(V));
    case pkSingle:
      return double(std::get<float>(V));
    case pkDouble:
      return std::get<double>(V);
    case pkColor:
      return ToQColor(std::get<uint32_t>(V));
    case pkString:
      return QString::fromStdString(std::get<std::string>(V));
    case pkComponent:
      return QString::fromStdString(ComponentText(std::get<TComponent*>(V)));
    default:
      return {};
  }
}

bool TLumPropertyModel::Edit(TPersistent* Instance, const TLumPropInfo* Prop, const TLumValue& New,
                             QUndoCommand* Macro) {
  TLumValue Old = Prop->GetValue(Instance);
  std::unique_ptr<TPersistent> OldCopy;
  if (Prop->Kind == pkObject) {
    OldCopy = CopyOf(std::get<TPersistent*>(Old));
    if (!OldCopy) {
      if (OnError) OnError(Prop->Name + ": its values cannot be copied for undo");
      return false;
    }
    Old = OldCopy.get();
  }
  try {
    Prop->SetValue(Instance, New);
  } catch (const std::exception& E) {
    if (OnError) OnError(E.what());
    return false;
  }
  // The setter is the judge: what it kept is what the command redoes.
  const TLumValue After = Prop->GetValue(Instance);
  if (Prop->Kind != pkObject && After == Old) return true;
  auto* Cmd = new TLumEditCommand(this, Instance, Prop, Old, After, Macro);
  if (!Macro) FStack->push(Cmd);
  Refresh();
  if (OnEdited) OnEdited(Instance, Prop);
  return true;
}

bool TLumPropertyModel::SetObjectValue(const QModelIndex& Index, TPersistent* Source) {
  const TRow* R = RowOf(Index);
  if (!R || R->Prop->Kind != pkObject || R->Bit >= 0) return false;
  return Edit(R->Instance, R->Prop, TLumValue(Source), nullptr);
}

bool TLumPropertyModel::setData(const QModelIndex& Index, const QVariant& Value, int Role) {
  const TRow* R = RowOf(Index);
  if (!R || Index.column() != 1 || !(flags(Index) & (Qt::ItemIsEditable | Qt::ItemIsUserCheckable)))
    return false;
  const TLumPropInfo* P = R->Prop;
  const bool Check = Role == Qt::CheckStateRole;
  if (Check != bool(flags(Index) & Qt::ItemIsUserCheckable) || (!Check && Role != Qt::EditRole))
    return false;
  if (R->Bit >= 0) {
    uint32_t Bits = std::get<uint32_t>(P->GetValue(R->Instance));
    const uint32_t Mask = 1u << R->Bit;
    Bits = Value.toInt() == Qt::Checked ? Bits | Mask : Bits & ~Mask;
    return Edit(R->Instance, P, Bits, nullptr);
  }
  if (IsColorObject(P)) {
    // A colour with its alpha: one undo step for both values.
    const QColor Q = Value.value<QColor>();
    TPersistent* Obj = P->GetObject(R->Instance);
    if (!Q.isValid() || !Obj) return false;
    auto* Macro = new QUndoCommand(QStringLiteral("set %1").arg(QString::fromStdString(P->Name)));
    const bool Ok = Edit(Obj, P->ClassInfo->FindProperty("Color"), FromQColor(Q), Macro) &&
                    Edit(Obj, P->ClassInfo->FindProperty("Alpha"), float(Q.alphaF()), Macro);
    if (Macro->childCount() > 0)
      FStack->push(Macro);
    else
      delete Macro;
    return Ok;
  }
  TLumValue New;
  bool Ok = true;
  switch (P->Kind) {
    case pkBoolean:
      New = Value.toInt() == Qt::Checked;
      break;
    case pkInteger:
      New = int64_t(Value.toLongLong(&Ok));
      break;
    case pkCardinal: {
      const qulonglong N = Value.toULongLong(&Ok);
      Ok = Ok && N <= UINT32_MAX;
      New = uint32_t(N);
      break;
    }
    case pkSingle:
    case pkDouble: {
      const double D = Value.toDouble(&Ok);
      Ok = Ok && std::isfinite(D) && (P->Kind == pkDouble || std::fabs(D) <= FLT_MAX);
      if (P->Kind == pkSingle)
        New = float(D);
      else
        New = D;
      break;
    }
    case pkEnumeration:
      if (Value.typeId() == QMetaType::QString)
        New = Value.toString().toStdString();
      else
        New = int64_t(Value.toLongLong(&Ok));
      break;
    case pkColor: {
      const QColor Q = Value.value<QColor>();
      Ok = Q.isValid();
      New = FromQColor(Q);
      break;
    }
    case pkString:
      New = Value.toString().toStdString();
      break;
    case pkComponent: {
      // The editor gives the place in the list of choices; a program may give the name.
      const std::vector<TComponent*> List = Choices(Index);
      Ok = false;
      if (Value.typeId() == QMetaType::QString) {
        for (TComponent* C : List)
          if (!Ok && ComponentText(C) == Value.toString().toStdString()) New = C, Ok = true;
      } else if (const qlonglong I = Value.toLongLong(&Ok); Ok) {
        Ok = I >= 0 && I < qlonglong(List.size());
        if (Ok) New = List[size_t(I)];
      }
      break;
    }
    default:
      Ok = false;
  }
  if (!Ok) {
    if (OnError)
      OnError(P->Name + ": \"" + Value.toString().toStdString() + "\" is not a value of it");
    return false;
  }
  return Edit(R->Instance, P, New, nullptr);
}

void TLumPropertyModel::Emit(TRow* Row) {
  if (Row->Children.empty()) return;
  const QModelIndex First = createIndex(0, 0, Row);
  const QModelIndex Last = createIndex(static_cast<int>(Row->Children.size()) - 1, 1, Row);
  emit dataChanged(First, Last);
  for (auto& C : Row->Children) Emit(C.get());
}

void TLumPropertyModel::Refresh() { Emit(&FTop); }

// --- the delegate ------------------------------------------------------------------------

QWidget* TLumPropertyDelegate::createEditor(QWidget* Parent, const QStyleOptionViewItem& Option,
                                            const QModelIndex& Index) const {
  const int Kind = Index.data(TLumPropertyModel::KindRole).toInt();
  const double Lo = Index.data(TLumPropertyModel::MinRole).toDouble();
  const double Hi = Index.data(TLumPropertyModel::MaxRole).toDouble();
  switch (Kind) {
    case pkInteger:
    case pkCardinal: {
      if (Lo >= INT32_MIN && Hi <= INT32_MAX) {
        auto* S = new QSpinBox(Parent);
        S->setRange(int(Lo), int(Hi));
        return S;
      }
      auto* S = new QDoubleSpinBox(Parent);
      S->setDecimals(0);
      S->setRange(Lo, Hi);
      return S;
    }
    case pkSingle:
    case pkDouble: {
      auto* S = new QDoubleSpinBox(Parent);
      S->setDecimals(4);
      S->setRange(Lo, Hi);
      S->setSingleStep(0.1);
      return S;
    }
    case pkEnumeration:
    case pkComponent: {
      auto* C = new QComboBox(Parent);
      C->addItems(Index
                      .data(Kind == pkEnumeration ? TLumPropertyModel::NamesRole
                                                  : TLumPropertyModel::ChoicesRole)
                      .toStringList());
      return C;
    }
    case pkColor:
    case pkObject: {
      // The dialog is modal: the chosen colour goes straight to the model.
      const QColor Old = Index.data(Qt::EditRole).value<QColor>();
      const QColor New = QColorDialog::getColor(
          Old, Parent, QStringLiteral("Colour"),
          Kind == pkObject ? QColorDialog::ShowAlphaChannel : QColorDialog::ColorDialogOptions());
      if (New.isValid()) const_cast<QAbstractItemModel*>(Index.model())->setData(Index, New);
      return nullptr;
    }
    default:
      return QStyledItemDelegate::createEditor(Parent, Option, Index);
  }
}

void TLumPropertyDelegate::setEditorData(QWidget* Editor, const QModelIndex& Index) const {
  const QVariant V = Index.data(Qt::EditRole);
  if (auto* S = qobject_cast<QSpinBox*>(Editor)) return S->setValue(V.toInt());
  if (auto* S = qobject_cast<QDoubleSpinBox*>(Editor)) return S->setValue(V.toDouble());
  if (auto* C = qobject_cast<QComboBox*>(Editor)) {
    const bool Enum = Index.data(TLumPropertyModel::KindRole).toInt() == pkEnumeration;
    return C->setCurrentIndex(Enum ? V.toInt() : std::max(C->findText(V.toString()), 0));
  }
  QStyledItemDelegate::setEditorData(Editor, Index);
}

void TLumPropertyDelegate::setModelData(QWidget* Editor, QAbstractItemModel* Model,
                                        const QModelIndex& Index) const {
  if (auto* S = qobject_cast<QSpinBox*>(Editor)) {
    Model->setData(Index, qlonglong(S->value()));
  } else if (auto* S = qobject_cast<QDoubleSpinBox*>(Editor)) {
    const int Kind = Index.data(TLumPropertyModel::KindRole).toInt();
    if (Kind == pkInteger || Kind == pkCardinal)
      Model->setData(Index, qlonglong(std::llround(S->value())));
    else
      Model->setData(Index, S->value());
  } else if (auto* C = qobject_cast<QComboBox*>(Editor)) {
    Model->setData(Index, qlonglong(C->currentIndex()));
  } else {
    QStyledItemDelegate::setModelData(Editor, Model, Index);
  }
}

}  // namespace lumox
