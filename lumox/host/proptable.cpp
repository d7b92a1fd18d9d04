// The published-property table: the registry of class tables, looking classes up, and
// typed access to property values.
#include "lumox/host/proptable.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <unordered_map>

namespace lumox {

namespace detail {
// Registers every unit's class tables, in unit order (package/lumregister.cpp).
void RegisterUnitPropertyTables();
// TBitmap's table (graphics.cpp).
void RegisterGraphicsProperties();
}  // namespace detail

const char* const TLumPropKindStr[12] = {"Integer", "Cardinal",    "Single",    "Double",
                                         "Boolean", "Enumeration", "Set",       "Color",
                                         "String",  "Object",      "Component", "Event"};

// --- TLumRange ---------------------------------------------------------------------------

bool TLumRange::Contains(double Value) const {
  if (std::isnan(Value)) return false;
  if (MinExclusive ? !(Value > Min) : !(Value >= Min)) return false;
  if (MaxExclusive ? !(Value < Max) : !(Value <= Max)) return false;
  return true;
}

namespace {

std::string ShortNumber(double V) {
  char Buf[32];
  auto R = std::to_chars(Buf, Buf + sizeof Buf, V);
  return std::string(Buf, R.ptr);
}

}  // namespace

std::string TLumRange::ToString() const {
  const bool HasMin = std::isfinite(Min), HasMax = std::isfinite(Max);
  if (HasMin && HasMax && !MinExclusive && !MaxExclusive)
    return ShortNumber(Min) + ".." + ShortNumber(Max);
  std::string S;
  if (HasMin) S = (MinExclusive ? "> " : ">= ") + ShortNumber(Min);
  if (HasMax)
    S += (S.empty() ? "" : ", ") + std::string(MaxExclusive ? "< " : "<= ") + ShortNumber(Max);
  return S;
}

// --- the registry ------------------------------------------------------------------------

struct TLumClassRegistry {
  std::vector<std::unique_ptr<TLumClassInfo>> Classes;
  std::vector<const TLumClassInfo*> List;
  std::unordered_map<std::string, const TLumClassInfo*> ByName;
  std::unordered_map<std::type_index, const TLumClassInfo*> ByType;
  // Instances' classes found by GetClassInfo, derived ones included.
  std::unordered_map<std::type_index, const TLumClassInfo*> Found;
  bool Loaded = false;

  static TLumClassRegistry& Raw() {
    static TLumClassRegistry R;
    return R;
  }
  // The registry with every unit's tables in it and linked.
  static TLumClassRegistry& Get() {
    TLumClassRegistry& R = Raw();
    if (!R.Loaded) {
      R.Loaded = true;
      RegisterHostTables();
      detail::RegisterGraphicsProperties();
      detail::RegisterUnitPropertyTables();
      R.Link();
    }
    return R;
  }
  static void RegisterHostTables();
  static TLumClassInfo* NewClass(const char* ClassName, const char* Page, const char* Description,
                                 std::type_index Type, std::type_index ParentType);
  static int Depth(const TLumClassInfo* C) { return C->FDepth; }
  const TLumClassInfo* TypeInfo(std::type_index T) const {
    auto It = ByType.find(T);
    return It == ByType.end() ? nullptr : It->second;
  }
  void Link();
};

namespace detail {

TLumClassInfo* NewClassInfo(const char* ClassName, const char* Page, const char* Description,
                            std::type_index Type, std::type_index ParentType) {
  return TLumClassRegistry::NewClass(ClassName, Page, Description, Type, ParentType);
}

}  // namespace detail

TLumClassInfo* TLumClassRegistry::NewClass(const char* ClassName, const char* Page,
                                           const char* Description, std::type_index Type,
                                           std::type_index ParentType) {
  TLumClassRegistry& R = Raw();
  if (R.ByName.count(UpperCase(ClassName)) || R.ByType.count(Type))
    throw Exception("This class was already registered.");
  R.Classes.push_back(std::make_unique<TLumClassInfo>());
  TLumClassInfo* C = R.Classes.back().get();
  C->FClassName = ClassName;
  C->FPalettePage = Page ? Page : "";
  C->FDescription = Description ? Description : "";
  C->FType = Type;
  C->FParentType = ParentType;
  R.List.push_back(C);
  R.ByName[UpperCase(ClassName)] = C;
  R.ByType[Type] = C;
  return C;
}

namespace detail {

void ThrowBadValue(const TLumPropInfo& Prop, const std::string& What) {
  const std::string Owner = Prop.Declarer ? Prop.Declarer->ClassName() + "." : "";
  throw EConvertError(Owner + Prop.Name + " (" + Prop.TypeName + ") cannot take " + What + ".");
}

void ThrowWrongClass(const TObject* Obj) {
  throw EConvertError(std::string("A property was used on a ") + (Obj ? Obj->ClassName() : "nil") +
                      ", which is not of its class.");
}

void ThrowBadCopy(const TLumPropInfo& Prop, const char* Why) {
  const std::string Owner = Prop.Declarer ? Prop.Declarer->ClassName() + "." : "";
  throw Exception("The table's copy of " + Owner + Prop.Name + " names " + Why + ".");
}

int64_t CheckedInteger(const TLumPropInfo& Prop, const TLumValue& Canonical, int64_t Lo,
                       int64_t Hi) {
  const int64_t V = std::get<int64_t>(Canonical);
  if (V < Lo || V > Hi) ThrowBadValue(Prop, std::string("the value ") + std::to_string(V));
  return V;
}

}  // namespace detail

void TLumPropEntry::CheckField(std::type_index FieldClass, bool OwnedObject) const {
  if (FieldClass != FClass.FType) detail::ThrowBadCopy(FInfo, "a field of another class");
  if (OwnedObject != (FInfo.Kind == pkObject))
    detail::ThrowBadCopy(FInfo, "a field of another kind");
}

TLumPropEntry& TLumPropEntry::Hidden() {
  FClass.FOwnPublished[FIndex] = 0;
  return *this;
}

void TLumClassRegistry::Link() {
  for (const auto& C : Classes) {
    C->FParent = C->FParentType == C->FType ? nullptr : TypeInfo(C->FParentType);
    if (!C->FParent && C->FParentType != C->FType)
      throw Exception("The class table of " + C->FClassName + " names an unregistered parent.");
    for (auto& P : C->FOwn) {
      if (P->ClassType == std::type_index(typeid(void))) continue;
      P->ClassInfo = TypeInfo(P->ClassType);
      if (!P->ClassInfo)
        throw Exception(C->FClassName + "." + P->Name + " names a class without a table.");
      P->TypeName = P->ClassInfo->ClassName();
    }
  }
  // Parents come first in registration order, so each list builds on a finished one.
  for (const auto& C : Classes) {
    if (C->FParent) {
      C->FProperties = C->FParent->FProperties;
      C->FFormEntries = C->FParent->FFormEntries;
      C->FDepth = C->FParent->FDepth + 1;
    }
    auto Place = [&](const TLumPropInfo* P) {
      for (auto& Have : C->FProperties)
        if (SameText(Have->Name, P->Name)) {
          Have = P;  // republished where it was
          return;
        }
      C->FProperties.push_back(P);
    };
    // Own entries and republished names, each at its place in the registration.
    for (const int K : C->FOrder) {
      if (K >= 0) {
        if (C->FOwnPublished[size_t(K)]) Place(C->FOwn[size_t(K)].get());
        continue;
      }
      const std::string& Name = C->FRepublished[size_t(-K - 1)];
      const TLumPropInfo* Found = nullptr;
      for (const TLumClassInfo* A = C->FParent; A && !Found; A = A->FParent)
        for (const auto& P : A->FOwn)
          if (SameText(P->Name, Name)) Found = P.get();
      if (!Found) throw Exception(C->FClassName + " republishes an undeclared " + Name + ".");
      Place(Found);
    }
    for (const auto& E : C->FOwnFormEntries) C->FFormEntries.push_back(E.get());
    for (size_t K = 0; K < C->FOwn.size(); ++K) {
      TLumPropInfo& P = *C->FOwn[K];
      if (!C->FOwnPublished[K] || P.ExchangeName.empty()) continue;
      P.ExchangeDefault = P.Default;
      if (P.Kind == pkSingle && P.HasDefault) {
        const std::string Text = LumSingleText(std::get<float>(P.Default));
        double D = 0;
        std::from_chars(Text.data(), Text.data() + Text.size(), D);  // whatever the locale
        P.ExchangeDefault = D;
      }
      C->FExchangeEntries.push_back(&P);
    }
  }
}

void TLumClassRegistry::RegisterHostTables() {
  TLumClassTable<TPersistent, TPersistent> Persistent("TPersistent", "",
                                                      "Objects that copy their values");
  TLumClassTable<TComponent, TPersistent> Component("TComponent", "",
                                                    "Components: owned, named, notified");
  Component
      .String("Name", &TComponent::Name, &TComponent::SetName, NoStoredDefault,
              "The component's name, unique among its owner's components")
      .NotStored();
  Component.Integer("Tag", &TComponent::Tag, &TComponent::SetTag, 0,
                    "A number of the application's choice");
}

// GetClassInfo without its cache.
static const TLumClassInfo* FindInstanceClass(const TObject* Instance);

// --- looking classes up ---------------------------------------------------------------------

const TLumClassInfo* FindClassInfo(std::string_view ClassName) {
  const auto& R = TLumClassRegistry::Get();
  auto It = R.ByName.find(UpperCase(ClassName));
  return It == R.ByName.end() ? nullptr : It->second;
}

const TLumClassInfo* GetClassInfo(const TObject* Instance) {
  if (!Instance) return nullptr;
  // The class asked for last, per thread: a scene asks for the same few classes over and
  // over, and hashing a type's name costs more than the rest of the lookup.
  thread_local const std::type_info* LastType = nullptr;
  thread_local const TLumClassInfo* LastInfo = nullptr;
  if (&typeid(*Instance) == LastType) return LastInfo;
  const TLumClassInfo* Info = FindInstanceClass(Instance);
  LastType = &typeid(*Instance);
  LastInfo = Info;
  return Info;
}

static const TLumClassInfo* FindInstanceClass(const TObject* Instance) {
  auto& R = TLumClassRegistry::Get();
  const std::type_index T = typeid(*Instance);
  if (const TLumClassInfo* C = R.TypeInfo(T)) return C;
  if (auto It = R.Found.find(T); It != R.Found.end()) return It->second;
  // A class of the program's own: the deepest registered class it derives from.
  const TLumClassInfo* Best = nullptr;
  for (const TLumClassInfo* C : R.List)
    if (C->IsInstance(Instance) && (!Best || R.Depth(C) > R.Depth(Best))) Best = C;
  R.Found[T] = Best;
  return Best;
}

const std::vector<const TLumClassInfo*>& GetClassInfos() { return TLumClassRegistry::Get().List; }

void detail::CopyOwnEntries(TPersistent* Dest, TPersistent* Source, const TLumClassInfo* Level) {
  if (!Level) throw Exception("A class without a table cannot copy through it.");
  for (const auto& P : Level->FOwn)
    if (P->Copier) P->Copier(Dest, Source);
}

const TLumClassInfo* FindClassInfo(std::type_index Type) {
  return TLumClassRegistry::Get().TypeInfo(Type);
}

// --- TLumClassInfo --------------------------------------------------------------------------

TComponent* TLumClassInfo::Create(TComponent* AOwner) const {
  if (!FCreate) throw Exception("Components of class " + FClassName + " cannot be created.");
  return FCreate(AOwner);
}

std::unique_ptr<TPersistent> TLumClassInfo::CreateObject() const {
  if (!FCreateObject) throw Exception("Objects of class " + FClassName + " cannot be created.");
  return std::unique_ptr<TPersistent>(FCreateObject());
}

bool TLumClassInfo::InheritsFrom(const TLumClassInfo* Ancestor) const {
  for (const TLumClassInfo* C = this; C; C = C->FParent)
    if (C == Ancestor) return true;
  return false;
}

const TLumPropInfo* TLumClassInfo::FindProperty(std::string_view Name) const {
  for (const TLumPropInfo* P : FProperties)
    if (SameText(P->Name, Name)) return P;
  return nullptr;
}

const TLumFormEntry* TLumClassInfo::FindFormEntry(std::string_view Name) const {
  for (const TLumFormEntry* E : FFormEntries)
    if (SameText(E->Name, Name)) return E;
  return nullptr;
}

// --- TLumPropInfo -----------------------------------------------------------------------------

namespace {

[[noreturn]] void WrongType(const TLumPropInfo& P, const TLumValue& V) {
  static const char* const Names[] = {"no value", "an integer",  "a cardinal",
                                      "a single", "a double",    "a boolean",
                                      "a string", "a component", "an object"};
  detail::ThrowBadValue(P, Names[V.index()]);
}

// The number V holds, when it holds one.
bool AsDouble(const TLumValue& V, double& Out) {
  if (auto* I = std::get_if<int64_t>(&V)) return Out = double(*I), true;
  if (auto* U = std::get_if<uint32_t>(&V)) return Out = double(*U), true;
  if (auto* F = std::get_if<float>(&V)) return Out = double(*F), true;
  if (auto* D = std::get_if<double>(&V)) return Out = *D, true;
  return false;
}

// An integral number V holds (a float only when it is a whole number in range).
bool AsInteger(const TLumValue& V, int64_t& Out) {
  if (auto* I = std::get_if<int64_t>(&V)) return Out = *I, true;
  if (auto* U = std::get_if<uint32_t>(&V)) return Out = int64_t(*U), true;
  double D;
  if (!AsDouble(V, D) || !(D >= -9.2e18 && D <= 9.2e18) || D != std::floor(D)) return false;
  Out = int64_t(D);
  return true;
}

}  // namespace

std::string LumQuotedString(const std::string& Text) {
  std::string S = "\"";
  for (unsigned char C : Text) {
    switch (C) {
      case '"':
        S += "\\\"";
        break;
      case '\\':
        S += "\\\\";
        break;
      case '\n':
        S += "\\n";
        break;
      case '\r':
        S += "\\r";
        break;
      case '\t':
        S += "\\t";
        break;
      default:
        if (C < 0x20 || C == 0x7F) {
          char Buf[8];
          std::snprintf(Buf, sizeof Buf, "\\x%02X", C);
          S += Buf;
        } else {
          S += char(C);
        }
    }
  }
  return S + '"';
}

namespace {

template <typename T>
std::string FloatText(T V) {
  char Buf[48];
  auto R = std::to_chars(Buf, Buf + sizeof Buf, V);
  std::string S(Buf, R.ptr);
  // A float reads as one: 1.0 rather than 1.
  if (S.find_first_of(".eEn") == std::string::npos) S += ".0";
  return S;
}

}  // namespace

std::string LumSingleText(float Value) { return FloatText(Value); }
std::string LumDoubleText(double Value) { return FloatText(Value); }

TLumValue TLumPropInfo::Convert(const TLumValue& V) const {
  switch (Kind) {
    case pkInteger:
    case pkEnumeration: {
      int64_t I;
      if (AsInteger(V, I)) return I;
      if (Kind == pkEnumeration)
        if (auto* S = std::get_if<std::string>(&V)) {
          for (size_t K = 0; K < Names.size(); ++K)
            if (SameText(Names[K], *S)) return int64_t(K);
          detail::ThrowBadValue(*this, "the name " + *S);
        }
      break;
    }
    case pkCardinal:
    case pkColor:
    case pkSet: {
      int64_t I;
      if (AsInteger(V, I)) {
        if (I < 0 || I > int64_t(UINT32_MAX)) detail::ThrowBadValue(*this, std::to_string(I));
        return uint32_t(I);
      }
      break;
    }
    case pkSingle:
    case pkDouble: {
      double D;
      if (AsDouble(V, D)) return Kind == pkSingle ? TLumValue(float(D)) : TLumValue(D);
      break;
    }
    case pkBoolean:
      if (std::holds_alternative<bool>(V)) return V;
      break;
    case pkString:
      if (std::holds_alternative<std::string>(V)) return V;
      break;
    case pkComponent:
      if (std::holds_alternative<TComponent*>(V)) return V;
      if (std::holds_alternative<std::monostate>(V)) return static_cast<TComponent*>(nullptr);
      break;
    case pkObject:
      if (std::holds_alternative<TPersistent*>(V)) return V;
      break;
    case pkEvent:
      detail::ThrowBadValue(*this, "a value: it is an event");
  }
  WrongType(*this, V);
}

TLumValue TLumPropInfo::GetValue(const TPersistent* Instance) const {
  if (!Getter) return {};
  return Getter(Instance);
}

void TLumPropInfo::SetValue(TPersistent* Instance, const TLumValue& Value) const {
  if (Kind == pkEvent) detail::ThrowBadValue(*this, "a value: it is an event");
  if (ReadOnly || !Setter) detail::ThrowBadValue(*this, "a value: it is read-only");
  Setter(Instance, Convert(Value));
}

bool TLumPropInfo::Accepts(const TPersistent* Instance, const TComponent* Candidate) const {
  if (Kind != pkComponent) return false;
  if (!Candidate) return true;
  if (!ClassInfo || !ClassInfo->IsInstance(Candidate)) return false;
  return !Filter || Filter(Instance, Candidate);
}

TPersistent* TLumPropInfo::GetObject(const TPersistent* Instance) const {
  if (Kind != pkObject) return nullptr;
  return std::get<TPersistent*>(GetValue(Instance));
}

TPersistent* TLumPropInfo::CreateObject(TPersistent* Instance) const {
  return Kind == pkObject && Creator ? Creator(Instance) : nullptr;
}

bool TLumPropInfo::IsDefault(const TPersistent* Instance) const {
  return HasDefault && Getter && GetValue(Instance) == Default;
}

bool TLumPropInfo::IsStored(const TPersistent* Instance) const {
  if (!Stored || Kind == pkEvent) return false;
  if (ReadOnly && Kind != pkObject) return false;
  return !StoredWhen || StoredWhen(Instance);
}

std::string TLumPropInfo::FormatValue(const TLumValue& V) const {
  switch (Kind) {
    case pkInteger:
      return std::to_string(std::get<int64_t>(V));
    case pkEnumeration: {
      const int64_t K = std::get<int64_t>(V);
      return K >= 0 && size_t(K) < Names.size() ? Names[size_t(K)] : std::to_string(K);
    }
    case pkCardinal:
      return std::to_string(std::get<uint32_t>(V));
    case pkColor: {
      char Buf[16];
      std::snprintf(Buf, sizeof Buf, "$%08X", unsigned(std::get<uint32_t>(V)));
      return Buf;
    }
    case pkSet: {
      const uint32_t Bits = std::get<uint32_t>(V);
      std::string S = "[";
      for (size_t K = 0; K < Names.size() && K < 32; ++K)
        if (Bits & (uint32_t{1} << K)) S += (S.size() > 1 ? ", " : "") + Names[K];
      return S + "]";
    }
    case pkSingle:
      return FloatText(std::get<float>(V));
    case pkDouble:
      return FloatText(std::get<double>(V));
    case pkBoolean:
      return std::get<bool>(V) ? "true" : "false";
    case pkString:
      return LumQuotedString(std::get<std::string>(V));
    case pkComponent: {
      const TComponent* C = std::get<TComponent*>(V);
      return C ? (C->Name().empty() ? "(unnamed " + std::string(C->ClassName()) + ")" : C->Name())
               : "nil";
    }
    case pkObject: {
      const TPersistent* O = std::get<TPersistent*>(V);
      return O ? std::string("(") + O->ClassName() + ")" : "nil";
    }
    case pkEvent:
      break;
  }
  return "";
}

std::string TLumPropInfo::DefaultText() const {
  return HasDefault ? FormatValue(Default) : "no stored default";
}

std::string TLumPropInfo::TypeText() const {
  auto Join = [this] {
    std::string S;
    for (const auto& N : Names) S += (S.empty() ? "" : ", ") + N;
    return S;
  };
  switch (Kind) {
    case pkEnumeration:
      return TypeName + " (" + Join() + ")";
    case pkSet:
      return "set of " + TypeName + " (" + Join() + ")";
    case pkObject:
      return TypeName + " (owned)";
    case pkComponent:
      return TypeName + " (reference)";
    case pkEvent:
      return TypeName + " (event)";
    default:
      return TypeName;
  }
}

}  // namespace lumox
