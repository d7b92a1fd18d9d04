// The published-property table: for every registered class, what it publishes (name,
// type, default, range, description, typed get and set through the class's own
// setters), the extra entries it gives form files, its palette page and its factory.
// Form files, `lumox classes --properties`, the inspector and the Python module all
// read the classes through it.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <variant>
#include <vector>

#include "lumox/host/classes.h"

namespace lumox {

class TLumClassInfo;
class TLumFormReader;
class TLumFormWriter;

namespace detail {
// CopyPublished's work: Level's own entries copied, both objects being of its class.
void CopyOwnEntries(TPersistent* Dest, TPersistent* Source, const TLumClassInfo* Level);
}  // namespace detail

enum TLumPropKind : uint8_t {
  pkInteger,      // int32_t (Tag: int64_t)
  pkCardinal,     // uint32_t
  pkSingle,       // float
  pkDouble,       // double
  pkBoolean,      // bool
  pkEnumeration,  // an enumeration, with its value names
  pkSet,          // a set of enumeration values, with the element names
  pkColor,        // TColor, $00BBGGRR
  pkString,       // std::string, UTF-8
  pkObject,       // an owned value object, with its own table
  pkComponent,    // a reference to another component
  pkEvent         // a handler (std::function); not stored
};
extern const char* const TLumPropKindStr[12];

// A value as the table gets and sets it. The alternative follows from the kind:
// Integer and Enumeration (the ordinal) int64_t; Cardinal, Color and Set (bit n for the
// element of ordinal n) uint32_t; Single float; Double double; Boolean bool; String
// std::string; Component TComponent* (nullptr for none); Object TPersistent*; Event
// std::monostate. SetValue also takes the other numeric alternatives when the number
// fits, and an enumeration's value name as a string.
using TLumValue = std::variant<std::monostate, int64_t, uint32_t, float, double, bool, std::string,
                               TComponent*, TPersistent*>;

// The values a setter accepts; the others it ignores (or corrects) silently.
struct TLumRange {
  double Min = -std::numeric_limits<double>::infinity();
  double Max = std::numeric_limits<double>::infinity();
  bool MinExclusive = false;
  bool MaxExclusive = false;
  bool Contains(double Value) const;
  static TLumRange Between(double Lo, double Hi) { return {Lo, Hi, false, false}; }
  static TLumRange AtLeast(double Lo) { return {Lo, Max0(), false, false}; }
  static TLumRange Above(double Lo) { return {Lo, Max0(), true, false}; }
  static TLumRange AtMost(double Hi) { return {-Max0(), Hi, false, false}; }
  // "0..1", "> 0", ">= 1", "<= 0".
  std::string ToString() const;

 private:
  static constexpr double Max0() { return std::numeric_limits<double>::infinity(); }
};

// One published property of a class.
struct TLumPropInfo {
  std::string Name;
  TLumPropKind Kind = pkInteger;
  // The declared type: "Integer", "Single", "TLumPolygonMode", "TColor", "TLumColor",
  // "TLumMaterial", "TLumRenderEvent", ...
  std::string TypeName;
  // Enumerations: the value names by ordinal; sets: the element names by ordinal.
  std::vector<std::string> Names;
  // The same names as the class registered them, as the exchange's calls take them.
  const char* const* NameTable = nullptr;
  // Owned objects: the class of the object; references: the class a component must be
  // of. Null for other kinds.
  const TLumClassInfo* ClassInfo = nullptr;
  // The stored default; a value equal to it is not written to form files.
  bool HasDefault = false;
  TLumValue Default;
  bool ReadOnly = false;
  // The values the setter accepts, for editors; the setter stays the judge.
  std::optional<TLumRange> Range;
  // One line, for tooltips and docstrings.
  std::string Description;
  // The LUMGL attribute or child element the exchange format writes it as, empty when
  // the format does not carry it.
  std::string ExchangeName;
  // The default the exchange format leaves out with NoDefaultValues: the stored default,
  // a Single's as the double its shortest text reads as (0.1, not 0.100000001490116).
  TLumValue ExchangeDefault;
  // False for a property form files never hold (the name, which heads the entry).
  bool Stored = true;
  // The setter checks against properties published after it: form files set it after
  // the others of its object.
  bool LoadLast = false;
  // The class whose registration declared it.
  const TLumClassInfo* Declarer = nullptr;
  // Events: the std::function type of the handler.
  std::type_index EventType = typeid(void);

  // The current value (the kind's alternative).
  TLumValue GetValue(const TPersistent* Instance) const;
  // Sets the value through the class's setter. Throws EConvertError for a read-only
  // property, an event, a value of the wrong type or out of the type's bounds (an
  // ordinal without a name, a component of another class), naming the property; a
  // setter's own refusals stay its own (a name in use, a node linked to itself). For an
  // owned object the setter copies the given object in with that class's Assign, and
  // its rules: a colour also takes over the source's change hook, a transformation
  // leaves its Order. To edit an owned object, set its values through its own table
  // (GetObject).
  void SetValue(TPersistent* Instance, const TLumValue& Value) const;
  // References: whether Candidate (nullptr for none) may be set.
  bool Accepts(const TPersistent* Instance, const TComponent* Candidate) const;
  // Owned objects: the object (with its own table), or nullptr where the class has
  // none yet (a part's material).
  TPersistent* GetObject(const TPersistent* Instance) const;
  // Owned objects that may be absent: creates the object and returns it; nullptr
  // where the class always has one.
  TPersistent* CreateObject(TPersistent* Instance) const;
  // Events: the handler of the instance, when F is the event's type; else nullptr.
  template <typename F>
  F* Event(TPersistent* Instance) const {
    if (Kind != pkEvent || EventType != std::type_index(typeid(F))) return nullptr;
    return static_cast<F*>(EventField(Instance));
  }
  // Whether the value equals the stored default (false without one).
  bool IsDefault(const TPersistent* Instance) const;
  // Whether form files hold the value of this instance (before the default rules).
  bool IsStored(const TPersistent* Instance) const;
  // The value as form files write it: 12, 0.5, true, pmFill, [bfFront, bfTop],
  // $00FF0000, "text", Camera1 (nil for none).
  std::string FormatValue(const TLumValue& Value) const;
  // The default as FormatValue writes it, or "no stored default".
  std::string DefaultText() const;
  // "Integer", "TLumPolygonMode (pmPoint, pmLine, pmFill)", "set of TBoxFace (...)",
  // "TLumColor (owned)", "TLumMaterial (reference)", "TLumRenderEvent (event)".
  std::string TypeText() const;
  // Converts Value to the kind's alternative; throws EConvertError when it cannot.
  TLumValue Convert(const TLumValue& Value) const;

  // Filled by TLumClassTable; use the methods above.
  std::function<TLumValue(const TPersistent*)> Getter;
  std::function<void(TPersistent*, const TLumValue&)> Setter;
  std::function<bool(const TPersistent*, const TComponent*)> Filter;
  std::function<TPersistent*(TPersistent*)> Creator;
  std::function<void*(TPersistent*)> EventField;
  std::function<bool(const TPersistent*)> StoredWhen;
  // What Assign copies of it, from the source (second) into the copy (first), both
  // instances of the declaring class (unchecked: CopyPublished's types are the check); empty where
  // Assign leaves it. See TLumPropEntry::Field and Copied.
  std::function<void(TPersistent*, TPersistent*)> Copier;
  // Owned objects and references: the C++ class of the object, linked to ClassInfo.
  std::type_index ClassType = typeid(void);
};

// An entry a class adds to form files besides its published properties (what the
// host's DefineProperties gives), of one of three shapes:
// - a zero entry: Write and Read are empty; when HasData holds, the published
//   property of the same name is written even where its own rule leaves it out (a
//   float that is 0), and the property reads it back;
// - a data entry: Write writes a value (numbers, names, lists) and Read reads it;
// - an object list: ForEachObject hands over objects that are written as blocks
//   named Name, and CreateObject makes one for each such block read.
struct TLumFormEntry {
  std::string Name;
  std::string Description;
  std::function<bool(const TPersistent*)> HasData;
  std::function<void(const TPersistent*, TLumFormWriter&)> Write;
  std::function<void(TPersistent*, TLumFormReader&)> Read;
  std::function<void(const TPersistent*, const std::function<void(TPersistent*)>&)> ForEachObject;
  std::function<TPersistent*(TPersistent*)> CreateObject;
  bool IsZeroEntry() const { return !Write && !ForEachObject; }
};

// A registered class: its table, its place on the palette and its factory.
class TLumClassInfo {
 public:
  const std::string& ClassName() const { return FClassName; }
  // The table this one extends (nullptr for TPersistent).
  const TLumClassInfo* Parent() const { return FParent; }
  // "Lumox", "Lumox Obj", or empty for classes not on the palette.
  const std::string& PalettePage() const { return FPalettePage; }
  const std::string& Description() const { return FDescription; }
  // The C++ class the table describes (for bindings that map classes).
  std::type_index Type() const { return FType; }
  // Whether instances are components (created with an owner).
  bool IsComponent() const { return FIsComponent; }
  // Components that can be placed: Create makes one owned by AOwner.
  bool CanCreate() const { return static_cast<bool>(FCreate); }
  // Throws Exception for a class that cannot be created this way.
  TComponent* Create(TComponent* AOwner) const;
  // Value objects that can stand alone (for copies and editors).
  bool CanCreateObject() const { return static_cast<bool>(FCreateObject); }
  std::unique_ptr<TPersistent> CreateObject() const;
  // Whether Obj is an instance of this class or of one derived from it.
  bool IsInstance(const TObject* Obj) const { return Obj && FIsInstance(Obj); }
  bool InheritsFrom(const TLumClassInfo* Ancestor) const;
  // The published properties, inherited ones first, in published order.
  const std::vector<const TLumPropInfo*>& Properties() const { return FProperties; }
  // Case-insensitive; nullptr when the class publishes no such property.
  const TLumPropInfo* FindProperty(std::string_view Name) const;
  // The form-file entries, inherited ones first.
  const std::vector<const TLumFormEntry*>& FormEntries() const { return FFormEntries; }
  // The properties this class itself publishes under an exchange name, in published
  // order: what the exchange's table-driven writing and reading of its level walk.
  const std::vector<const TLumPropInfo*>& ExchangeEntries() const { return FExchangeEntries; }
  // Case-insensitive; nullptr when there is none.
  const TLumFormEntry* FindFormEntry(std::string_view Name) const;
  // Whether form files hold the components this component owns, as entries nested in
  // its own (nodes of a loaded scene own their items).
  bool StoresOwnedComponents() const { return FStoresOwnedComponents; }

 private:
  template <typename C, typename P>
  friend class TLumClassTable;
  friend class TLumPropEntry;
  friend struct TLumClassRegistry;
  friend void detail::CopyOwnEntries(TPersistent*, TPersistent*, const TLumClassInfo*);
  std::string FClassName;
  std::string FPalettePage;
  std::string FDescription;
  std::type_index FType = typeid(void);
  std::type_index FParentType = typeid(void);
  const TLumClassInfo* FParent = nullptr;
  bool FIsComponent = false;
  bool FStoresOwnedComponents = false;
  std::function<bool(const TObject*)> FIsInstance;
  std::function<TComponent*(TComponent*)> FCreate;
  std::function<TPersistent*()> FCreateObject;
  // What the class's registration gave: its own entries (declared-only ones not
  // published here), the names it republishes from its ancestors, its form entries.
  std::vector<std::unique_ptr<TLumPropInfo>> FOwn;
  std::vector<uint8_t> FOwnPublished;
  std::vector<std::string> FRepublished;
  // The order of both: an own entry's index, or -1 - the index of a republished name.
  std::vector<int> FOrder;
  std::vector<std::unique_ptr<TLumFormEntry>> FOwnFormEntries;
  std::vector<const TLumPropInfo*> FProperties;
  std::vector<const TLumFormEntry*> FFormEntries;
  std::vector<const TLumPropInfo*> FExchangeEntries;
  int FDepth = 0;
};

// The class registered under ClassName (case-insensitive), or nullptr.
const TLumClassInfo* FindClassInfo(std::string_view ClassName);
// The table of Instance's class; for a class without one of its own (a program's
// subclass), the table of the nearest registered class it derives from.
const TLumClassInfo* GetClassInfo(const TObject* Instance);
// Every registered class, in registration order (ancestors before descendants).
const std::vector<const TLumClassInfo*>& GetClassInfos();
// The table registered for the C++ class Type itself, or nullptr.
const TLumClassInfo* FindClassInfo(std::type_index Type);
// The table of class C, looked up once.
template <typename C>
const TLumClassInfo* ClassInfoOf() {
  static const TLumClassInfo* const Info = FindClassInfo(std::type_index(typeid(C)));
  return Info;
}

// The texts form files write values in: the shortest text that reads back exactly,
// with ".0" where it would look like an integer; strings in double quotes, with
// backslash escapes for the quote, the backslash, line ends, tabs and control bytes.
std::string LumSingleText(float Value);
std::string LumDoubleText(double Value);
std::string LumQuotedString(const std::string& Value);

// Default of a property without a stored one.
inline constexpr std::nullopt_t NoStoredDefault = std::nullopt;

// What C::Assign copies of the properties class C itself declares (published or hidden),
// from Source into Dest, in their order: an entry registered with a Field by storing the
// field, no setter and no notification (an owned object through its own Assign, which
// notifies through its hook); an entry registered as Copied through its setter (an event:
// the handler). Entries registered with neither are left; the caller notifies, as its
// Assign always did. Both are instances of C: their types are the check.
template <typename C>
void CopyPublished(C* Dest, C* Source) {
  detail::CopyOwnEntries(Dest, Source, ClassInfoOf<C>());
}

// --- registration ------------------------------------------------------------------------

namespace detail {
TLumClassInfo* NewClassInfo(const char* ClassName, const char* Page, const char* Description,
                            std::type_index Type, std::type_index ParentType);
// Throws EConvertError naming the property.
[[noreturn]] void ThrowBadValue(const TLumPropInfo& Prop, const std::string& What);
// Throws EConvertError: a property was used on an object not of its class.
[[noreturn]] void ThrowWrongClass(const TObject* Obj);
// Obj as a C; an instance of C itself (the usual case) without the cost of a dynamic_cast.
template <typename C, typename O>
C* CastTo(O* Obj) {
  if (Obj && typeid(*Obj) == typeid(C)) return static_cast<C*>(Obj);
  C* R = dynamic_cast<C*>(Obj);
  if (!R) ThrowWrongClass(Obj);
  return R;
}
// Fields that hold an owned value object: a pointer to one, a unique_ptr or the object.
template <typename T>
struct TOwnedField : std::is_base_of<TPersistent, T> {
  static TPersistent* Get(T& F) { return &F; }
};
template <typename T>
struct TOwnedField<T*> : std::is_base_of<TPersistent, T> {
  static TPersistent* Get(T* F) { return F; }
};
template <typename T>
struct TOwnedField<std::unique_ptr<T>> : std::is_base_of<TPersistent, T> {
  static TPersistent* Get(std::unique_ptr<T>& F) { return F.get(); }
};
// Throws Exception: a Field or Copied that does not fit the entry (a registration fault).
[[noreturn]] void ThrowBadCopy(const TLumPropInfo& Prop, const char* Why);
int64_t CheckedInteger(const TLumPropInfo& Prop, const TLumValue& Canonical, int64_t Lo,
                       int64_t Hi);
}  // namespace detail

// The chained settings of one entry while a class registers it.
class TLumPropEntry {
 public:
  TLumPropEntry(TLumPropInfo& Info, TLumClassInfo& Class, size_t Index,
                std::function<void(TPersistent*, TPersistent*)> SetterCopy = {})
      : FInfo(Info), FClass(Class), FIndex(Index), FSetterCopy(std::move(SetterCopy)) {}
  // Assign copies the value by storing this field of the source: no setter runs and
  // nothing notifies (the Assign notifies once); an owned object is copied with its own
  // Assign. A field of the registered class itself; registration functions name private
  // fields as friends of their classes.
  template <typename C, typename T>
  TLumPropEntry& Field(T C::*Member) {
    using F = detail::TOwnedField<T>;
    CheckField(typeid(C), F::value);
    FInfo.Copier = [Member](TPersistent* Dest, TPersistent* Source) {
      T& To = static_cast<C*>(Dest)->*Member;
      T& From = static_cast<C*>(Source)->*Member;
      if constexpr (F::value) {
        if (TPersistent* D = F::Get(To), *S = F::Get(From); D && S) D->Assign(S);
      } else {
        To = From;
      }
    };
    return *this;
  }
  // Element K of an array field (a box's details, the axes' colours).
  template <typename C, typename T, size_t N>
  TLumPropEntry& Field(T (C::*Member)[N], size_t K) {
    CheckField(typeid(C), false);
    if (K >= N) detail::ThrowBadCopy(FInfo, "an element the array has not");
    FInfo.Copier = [Member, K](TPersistent* Dest, TPersistent* Source) {
      (static_cast<C*>(Dest)->*Member)[K] = (static_cast<C*>(Source)->*Member)[K];
    };
    return *this;
  }
  // Assign copies the value through the setter, with its checks and notification
  // (references keep their free notifications); an event's handler is copied.
  TLumPropEntry& Copied() {
    if (!FSetterCopy) detail::ThrowBadCopy(FInfo, "no setter");
    FInfo.Copier = FSetterCopy;
    return *this;
  }
  TLumPropEntry& Range(const TLumRange& Value) {
    FInfo.Range = Value;
    return *this;
  }
  // Written by the exchange format under this name (the property's own by default).
  TLumPropEntry& Exchange(const char* Name = nullptr) {
    FInfo.ExchangeName = Name ? Name : FInfo.Name;
    return *this;
  }
  TLumPropEntry& NotStored() {
    FInfo.Stored = false;
    return *this;
  }
  TLumPropEntry& StoredWhen(std::function<bool(const TPersistent*)> Pred) {
    FInfo.StoredWhen = std::move(Pred);
    return *this;
  }
  TLumPropEntry& LoadLast() {
    FInfo.LoadLast = true;
    return *this;
  }
  // Declared here, published only by the descendants that republish it.
  TLumPropEntry& Hidden();
  // References: a further condition on acceptable components.
  TLumPropEntry& Accept(std::function<bool(const TPersistent*, const TComponent*)> Pred) {
    FInfo.Filter = std::move(Pred);
    return *this;
  }
  TLumPropInfo& Info() { return FInfo; }

 private:
  // Throws unless the field is of the registered class and of the entry's kind.
  void CheckField(std::type_index FieldClass, bool OwnedObject) const;

  TLumPropInfo& FInfo;
  TLumClassInfo& FClass;
  size_t FIndex;
  std::function<void(TPersistent*, TPersistent*)> FSetterCopy;
};

// Registers class C (derived from P) under ClassName, on a palette page (or none):
//   TLumClassTable<TLumFog, TLumRender> T("TLumFog", "Lumox", "Fog for what follows");
//   T.Creatable();
//   T.Single("Density", &TLumFog::Density, &TLumFog::SetDensity, 0.2f, "Fog density");
// Getters and setters are member-function pointers or callables taking C*; a setter of
// nullptr makes the property read-only. The property's value type follows from the
// getter.
template <typename C, typename P>
class TLumClassTable {
  static_assert(std::is_base_of_v<TPersistent, C> && std::is_base_of_v<P, C>);
  // The value type of a getter.
  template <typename G>
  using ValueOf = std::remove_cvref_t<std::invoke_result_t<G, const C*>>;
  template <typename G>
  using ValueOfT = ValueOf<G>;
  template <typename S>
  static constexpr bool IsNull = std::is_null_pointer_v<S>;

 public:
  TLumClassTable(const char* ClassName, const char* Page, const char* Description)
      : FClass(*detail::NewClassInfo(ClassName, Page, Description, typeid(C), typeid(P))) {
    FClass.FIsComponent = std::is_base_of_v<TComponent, C>;
    FClass.FIsInstance = [](const TObject* Obj) { return dynamic_cast<const C*>(Obj) != nullptr; };
  }

  // The class can be placed (components) or made alone (value objects).
  TLumClassTable& Creatable() {
    if constexpr (std::is_base_of_v<TComponent, C>)
      FClass.FCreate = [](TComponent* AOwner) -> TComponent* { return new C(AOwner); };
    else
      FClass.FCreateObject = []() -> TPersistent* { return new C(); };
    return *this;
  }
  TLumClassTable& StoresOwnedComponents() {
    FClass.FStoresOwnedComponents = true;
    return *this;
  }

  template <typename G, typename S>
  TLumPropEntry Integer(const char* Name, G Get, S Put, const std::optional<int64_t>& Default,
                        const char* Description) {
    using V = ValueOf<G>;
    static_assert(std::is_integral_v<V> && std::is_signed_v<V>);
    TLumPropInfo& I = Add(Name, pkInteger, "Integer", Description, Put);
    if (Default) SetDefault(I, int64_t{*Default});
    I.Getter = [Get](const TPersistent* Obj) { return TLumValue(int64_t(Read(Get, Obj))); };
    if constexpr (!IsNull<S>)
      I.Setter = [Put, &I](TPersistent* Obj, const TLumValue& V0) {
        const int64_t N = detail::CheckedInteger(I, V0, std::numeric_limits<V>::min(),
                                                 std::numeric_limits<V>::max());
        std::invoke(Put, Cast(Obj), static_cast<V>(N));
      };
    return Entry(I, Get, Put);
  }
  template <typename G, typename S>
  TLumPropEntry Cardinal(const char* Name, G Get, S Put, const std::optional<uint32_t>& Default,
                         const char* Description) {
    return Unsigned(Name, pkCardinal, "Cardinal", Get, Put, Default, Description);
  }
  // A TColor: $00BBGGRR.
  template <typename G, typename S>
  TLumPropEntry Color(const char* Name, G Get, S Put, const std::optional<uint32_t>& Default,
                      const char* Description) {
    return Unsigned(Name, pkColor, "TColor", Get, Put, Default, Description);
  }
  template <typename G, typename S>
  TLumPropEntry Single(const char* Name, G Get, S Put, const std::optional<float>& Default,
                       const char* Description) {
    return Plain<float>(Name, pkSingle, "Single", Get, Put, Default, Description);
  }
  template <typename G, typename S>
  TLumPropEntry Double(const char* Name, G Get, S Put, const std::optional<double>& Default,
                       const char* Description) {
    return Plain<double>(Name, pkDouble, "Double", Get, Put, Default, Description);
  }
  template <typename G, typename S>
  TLumPropEntry Boolean(const char* Name, G Get, S Put, const std::optional<bool>& Default,
                        const char* Description) {
    return Plain<bool>(Name, pkBoolean, "Boolean", Get, Put, Default, Description);
  }
  template <typename G, typename S>
  TLumPropEntry String(const char* Name, G Get, S Put, const std::optional<std::string>& Default,
                       const char* Description) {
    return Plain<std::string>(Name, pkString, "String", Get, Put, Default, Description);
  }
  // An enumeration with its name table.
  template <typename G, typename S, size_t N>
  TLumPropEntry Enum(const char* Name, const char* TypeName, G Get, S Put,
                     const char* const (&Names)[N], const std::optional<ValueOfT<G>>& Default,
                     const char* Description) {
    using V = ValueOf<G>;
    static_assert(std::is_enum_v<V>);
    TLumPropInfo& I = Add(Name, pkEnumeration, TypeName, Description, Put);
    I.Names.assign(Names, Names + N);
    I.NameTable = Names;
    if (Default) SetDefault(I, int64_t(*Default));
    I.Getter = [Get](const TPersistent* Obj) { return TLumValue(int64_t(Read(Get, Obj))); };
    if constexpr (!IsNull<S>)
      I.Setter = [Put, &I](TPersistent* Obj, const TLumValue& V0) {
        const int64_t K = detail::CheckedInteger(I, V0, 0, int64_t(I.Names.size()) - 1);
        std::invoke(Put, Cast(Obj), static_cast<V>(K));
      };
    return Entry(I, Get, Put);
  }
  // A set (TLumSet<E>) with the name table of its elements.
  template <typename G, typename S, size_t N>
  TLumPropEntry SetOf(const char* Name, const char* TypeName, G Get, S Put,
                      const char* const (&Names)[N], const std::optional<ValueOfT<G>>& Default,
                      const char* Description) {
    using V = ValueOf<G>;
    TLumPropInfo& I = Add(Name, pkSet, TypeName, Description, Put);
    I.Names.assign(Names, Names + N);
    I.NameTable = Names;
    if (Default) SetDefault(I, uint32_t(Default->Bits()));
    I.Getter = [Get](const TPersistent* Obj) { return TLumValue(uint32_t(Read(Get, Obj).Bits())); };
    if constexpr (!IsNull<S>)
      I.Setter = [Put, &I](TPersistent* Obj, const TLumValue& V0) {
        const uint32_t Bits = std::get<uint32_t>(V0);
        if (N < 32 && (Bits >> N) != 0) detail::ThrowBadValue(I, "a set element beyond its names");
        std::invoke(Put, Cast(Obj), V::FromBits(Bits));
      };
    return Entry(I, Get, Put);
  }
  // An owned value object; the setter copies the given object's values in.
  template <typename G, typename S>
  TLumPropEntry Object(const char* Name, G Get, S Put, const char* Description) {
    using V = std::remove_pointer_t<ValueOf<G>>;
    static_assert(std::is_base_of_v<TPersistent, V>);
    TLumPropInfo& I = Add(Name, pkObject, "", Description, Put);
    I.ClassType = typeid(V);
    I.Getter = [Get](const TPersistent* Obj) {
      return TLumValue(static_cast<TPersistent*>(Read(Get, Obj)));
    };
    if constexpr (!IsNull<S>)
      I.Setter = [Put, &I](TPersistent* Obj, const TLumValue& V0) {
        auto* P0 = std::get<TPersistent*>(V0);
        auto* Value = dynamic_cast<V*>(P0);
        if (P0 && !Value) detail::ThrowBadValue(I, std::string("a ") + P0->ClassName());
        if (Value) std::invoke(Put, Cast(Obj), Value);
      };
    return Entry(I, Get, Put);
  }
  // A reference to a component of the getter's class (or one derived from it).
  template <typename G, typename S>
  TLumPropEntry Component(const char* Name, G Get, S Put, bool DefaultNil,
                          const char* Description) {
    using V = std::remove_pointer_t<ValueOf<G>>;
    static_assert(std::is_base_of_v<TComponent, V>);
    TLumPropInfo& I = Add(Name, pkComponent, "", Description, Put);
    I.ClassType = typeid(V);
    if (DefaultNil) SetDefault(I, static_cast<TComponent*>(nullptr));
    I.Getter = [Get](const TPersistent* Obj) {
      return TLumValue(static_cast<TComponent*>(Read(Get, Obj)));
    };
    if constexpr (!IsNull<S>)
      I.Setter = [Put, &I](TPersistent* Obj, const TLumValue& V0) {
        TComponent* C0 = std::get<TComponent*>(V0);
        V* Value = dynamic_cast<V*>(C0);
        if (C0 && (!Value || !I.Accepts(Obj, C0)))
          detail::ThrowBadValue(I, std::string("the ") + C0->ClassName() + " " + C0->Name());
        std::invoke(Put, Cast(Obj), Value);
      };
    return Entry(I, Get, Put);
  }
  // A handler member of type F; TypeName names the event type.
  template <typename F>
  TLumPropEntry Event(const char* Name, const char* TypeName, F C::*Field,
                      const char* Description) {
    TLumPropInfo& I = Add(Name, pkEvent, TypeName, Description, nullptr);
    I.ReadOnly = false;
    I.EventType = typeid(F);
    I.EventField = [Field](TPersistent* Obj) -> void* { return &(Cast(Obj)->*Field); };
    return TLumPropEntry(I, FClass, FClass.FOwn.size() - 1,
                         [Field](TPersistent* Dest, TPersistent* Source) {
                           static_cast<C*>(Dest)->*Field = static_cast<C*>(Source)->*Field;
                         });
  }
  // Publishes, at this point of the order, a property an ancestor declared.
  void Publish(const char* Name) {
    FClass.FRepublished.push_back(Name);
    FClass.FOrder.push_back(-int(FClass.FRepublished.size()));
  }

  // A zero entry (see TLumFormEntry): written when HasData holds.
  void DefineZeroWhen(const char* Name, std::function<bool(const C*)> HasData) {
    TLumFormEntry& E = NewFormEntry(Name, "");
    E.HasData = [HasData](const TPersistent* Obj) { return HasData(CastC(Obj)); };
  }
  // The zero entry of a float property: written when the value is exactly 0.
  template <typename G>
  void DefineZero(const char* Name, G Get) {
    DefineZeroWhen(Name, [Get](const C* Obj) { return std::invoke(Get, Obj) == 0; });
  }
  // A data entry: written when HasData holds.
  void DefineData(const char* Name, const char* Description, std::function<bool(const C*)> HasData,
                  std::function<void(const C*, TLumFormWriter&)> Write,
                  std::function<void(C*, TLumFormReader&)> Read) {
    TLumFormEntry& E = NewFormEntry(Name, Description);
    E.HasData = [HasData](const TPersistent* Obj) { return HasData(CastC(Obj)); };
    E.Write = [Write](const TPersistent* Obj, TLumFormWriter& W) { Write(CastC(Obj), W); };
    E.Read = [Read](TPersistent* Obj, TLumFormReader& R) { Read(Cast(Obj), R); };
  }
  // An object list: blocks named Name, one per object.
  template <typename O>
  void DefineObjects(const char* Name, const char* Description,
                     std::function<void(const C*, const std::function<void(O*)>&)> ForEach,
                     std::function<O*(C*)> Create) {
    TLumFormEntry& E = NewFormEntry(Name, Description);
    E.ForEachObject = [ForEach](const TPersistent* Obj,
                                const std::function<void(TPersistent*)>& Each) {
      ForEach(CastC(Obj), [&Each](O* Item) { Each(Item); });
    };
    E.CreateObject = [Create](TPersistent* Obj) -> TPersistent* { return Create(Cast(Obj)); };
  }
  // Owned objects that may be absent: how to make one.
  void CreatesObject(TLumPropEntry Entry_, std::function<TPersistent*(C*)> Make) {
    Entry_.Info().Creator = [Make](TPersistent* Obj) { return Make(Cast(Obj)); };
  }

  // An instance of C itself (the usual case, as when a class's own values are read and
  // written) is cast without the cost of a dynamic_cast.
  static C* Cast(TPersistent* Obj) { return detail::CastTo<C>(Obj); }
  static const C* CastC(const TPersistent* Obj) { return detail::CastTo<const C>(Obj); }

 private:
  template <typename G>
  static ValueOf<G> Read(const G& Get, const TPersistent* Obj) {
    return std::invoke(Get, CastC(Obj));
  }
  template <typename S>
  TLumPropInfo& Add(const char* Name, TLumPropKind Kind, const char* TypeName,
                    const char* Description, const S&) {
    auto Info = std::make_unique<TLumPropInfo>();
    Info->Name = Name;
    Info->Kind = Kind;
    Info->TypeName = TypeName;
    Info->Description = Description;
    Info->ReadOnly = IsNull<S>;
    Info->Declarer = &FClass;
    FClass.FOwn.push_back(std::move(Info));
    FClass.FOwnPublished.push_back(1);
    FClass.FOrder.push_back(int(FClass.FOwn.size()) - 1);
    return *FClass.FOwn.back();
  }
  // The entry just added; its setter, when it has one, is what Copied copies through.
  template <typename G, typename S>
  TLumPropEntry Entry(TLumPropInfo& I, const G& Get, const S& Put) {
    std::function<void(TPersistent*, TPersistent*)> SetterCopy;
    if constexpr (!IsNull<S>)
      SetterCopy = [Get, Put](TPersistent* Dest, TPersistent* Source) {
        std::invoke(Put, static_cast<C*>(Dest), std::invoke(Get, static_cast<const C*>(Source)));
      };
    return TLumPropEntry(I, FClass, FClass.FOwn.size() - 1, std::move(SetterCopy));
  }
  static void SetDefault(TLumPropInfo& I, TLumValue V) {
    I.HasDefault = true;
    I.Default = std::move(V);
  }
  template <typename T, typename G, typename S>
  TLumPropEntry Plain(const char* Name, TLumPropKind Kind, const char* TypeName, G Get, S Put,
                      const std::optional<T>& Default, const char* Description) {
    TLumPropInfo& I = Add(Name, Kind, TypeName, Description, Put);
    if (Default) SetDefault(I, T(*Default));
    I.Getter = [Get](const TPersistent* Obj) { return TLumValue(T(Read(Get, Obj))); };
    if constexpr (!IsNull<S>)
      I.Setter = [Put](TPersistent* Obj, const TLumValue& V0) {
        std::invoke(Put, Cast(Obj), std::get<T>(V0));
      };
    return Entry(I, Get, Put);
  }
  template <typename G, typename S>
  TLumPropEntry Unsigned(const char* Name, TLumPropKind Kind, const char* TypeName, G Get, S Put,
                         const std::optional<uint32_t>& Default, const char* Description) {
    static_assert(std::is_same_v<ValueOf<G>, uint32_t>);
    return Plain<uint32_t>(Name, Kind, TypeName, Get, Put, Default, Description);
  }
  TLumFormEntry& NewFormEntry(const char* Name, const char* Description) {
    FClass.FOwnFormEntries.push_back(std::make_unique<TLumFormEntry>());
    TLumFormEntry& E = *FClass.FOwnFormEntries.back();
    E.Name = Name;
    E.Description = Description;
    return E;
  }

  TLumClassInfo& FClass;
};

}  // namespace lumox
