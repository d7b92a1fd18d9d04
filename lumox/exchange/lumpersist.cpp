// The scene-file protocol's shared parts: the element every streamable object writes
// by default, a class's published values written and read from its table, and the
// elements of the value objects of lumox/math (vectors, colours, rotations,
// transformations). They live with the exchange, which knows the value
// objects; the value objects' own unit knows nothing of the exchange.
#include <variant>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumclass.h"

namespace lumox {

// --- TLumStreamable -------------------------------------------------------------------

void TLumStreamable::WriteComp(TLumExchange* Exchange, std::string_view Tag) {
  Exchange->StartTag(Tag);
  WriteValues(Exchange);
  Exchange->EndTag();
}

// --- published values from the table --------------------------------------------------

namespace {

// The last ordinal of an enumeration's or a set's names, as the exchange's calls take it.
int High(const TLumPropInfo* P) { return static_cast<int>(P->Names.size()) - 1; }

[[noreturn]] void Unsupported(const TLumPropInfo* P) {
  throw Exception(P->Name + " (" + P->TypeName + ") has no table-driven exchange form.");
}

}  // namespace

void TLumExchange::WritePublished(const TPersistent* Obj, const TLumClassInfo* Level) {
  for (const TLumPropInfo* P : Level->ExchangeEntries()) {
    const std::string& Name = P->ExchangeName;
    const TLumValue V = P->Getter(Obj);  // the kind's alternative, as GetValue gives it
    switch (P->Kind) {
      case pkBoolean:
        addtag(Name, std::get<bool>(V), std::get<bool>(P->ExchangeDefault));
        break;
      case pkInteger:
        addtag(Name, static_cast<int32_t>(std::get<int64_t>(V)),
               static_cast<int32_t>(std::get<int64_t>(P->ExchangeDefault)));
        break;
      case pkSingle:
        addtag(Name, static_cast<double>(std::get<float>(V)), std::get<double>(P->ExchangeDefault));
        break;
      case pkDouble:
        addtag(Name, std::get<double>(V), std::get<double>(P->ExchangeDefault));
        break;
      case pkString:
        addtag(Name, std::get<std::string>(V), std::get<std::string>(P->ExchangeDefault));
        break;
      case pkEnumeration:
        addtag(Name, static_cast<int>(std::get<int64_t>(V)), P->NameTable, High(P));
        break;
      case pkSet:
        addsettag(Name, std::get<uint32_t>(V), P->NameTable, High(P));
        break;
      case pkObject:
        if (auto* O = std::get<TPersistent*>(V))
          if (TLumStreamable* S = O->Streamable()) S->WriteComp(this, Name);
        break;
      default:
        Unsupported(P);
    }
  }
}

void TLumExchange::ReadPublished(TPersistent* Obj, const TLumClassInfo* Level) {
  const auto& Entries = Level->ExchangeEntries();
  // Every attribute is read before any setter runs, so that a bad value leaves the
  // object as it was, and no setter sees another's effect on a value still to be read.
  constexpr size_t Few = 12;  // more than any class declares: no allocation per element
  TLumValue Local[Few];
  std::vector<TLumValue> More;
  TLumValue* Values = Local;
  if (Entries.size() > Few) {
    More.resize(Entries.size());
    Values = More.data();
  }
  for (size_t K = 0; K < Entries.size(); ++K) {
    const TLumPropInfo* P = Entries[K];
    const std::string& Name = P->ExchangeName;
    if (P->Kind == pkObject) continue;
    TLumValue V = P->GetValue(Obj);
    switch (P->Kind) {
      case pkBoolean:
        getvalue(Name, std::get<bool>(V));
        break;
      case pkInteger: {
        auto N = static_cast<int32_t>(std::get<int64_t>(V));
        getvalue(Name, N);
        V = int64_t{N};
        break;
      }
      case pkSingle:
        getvalue(Name, std::get<float>(V));
        break;
      case pkDouble:
        getvalue(Name, std::get<double>(V));
        break;
      case pkString:
        getvalue(Name, std::get<std::string>(V));
        break;
      case pkEnumeration:
        V = int64_t{getenums(Name, P->NameTable, High(P))};
        break;
      case pkSet:
        getsetvalue(Name, std::get<uint32_t>(V), P->NameTable, High(P));
        break;
      default:
        Unsupported(P);
    }
    Values[K] = std::move(V);
  }
  for (size_t K = 0; K < Entries.size(); ++K)
    if (Entries[K]->Kind != pkObject) Entries[K]->SetValue(Obj, Values[K]);
}

TObject* TLumExchange::ReadPublishedChild(TPersistent* Obj, const TLumClassInfo* Level,
                                          TXMLTag* Tag) {
  if (!Tag) return nullptr;
  for (const TLumPropInfo* P : Level->ExchangeEntries()) {
    if (P->Kind != pkObject || !SameText(P->ExchangeName, Tag->Name)) continue;
    TPersistent* O = P->GetObject(Obj);
    TLumStreamable* S = O ? O->Streamable() : nullptr;
    if (!S) return nullptr;
    S->ReadValues(this);
    return S;
  }
  return nullptr;
}

// --- value objects ---------------------------------------------------------------------

namespace {

// The levels from C up that publish under exchange names, outermost first, while Fn
// returns false; true when Fn stopped the walk.
template <typename F>
bool ForEachLevelFrom(const TLumClassInfo* C, F& Fn) {
  if (!C) return false;
  if (ForEachLevelFrom(C->Parent(), Fn)) return true;
  return !C->ExchangeEntries().empty() && Fn(C);
}

template <typename F>
void ForEachLevel(const TPersistent* Obj, F&& Fn) {
  ForEachLevelFrom(GetClassInfo(Obj), Fn);
}

}  // namespace

void TLumProperty::WriteValues(TLumExchange* Exchange) {
  ForEachLevel(this, [&](const TLumClassInfo* L) {
    Exchange->WritePublished(this, L);
    return false;
  });
}

void TLumProperty::ReadValues(TLumExchange* Exchange) {
  ForEachLevel(this, [&](const TLumClassInfo* L) {
    Exchange->ReadPublished(this, L);
    return false;
  });
}

TObject* TLumProperty::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  TObject* Found = nullptr;
  ForEachLevel(this, [&](const TLumClassInfo* L) {
    Found = Exchange->ReadPublishedChild(this, L, Tag);
    return Found != nullptr;
  });
  return Found;
}

// A vector is one attribute "P" holding x,y,z, not its published X, Y and Z.
void TLumVector::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("P", GetAsMathVector(), ZEROVEC);
}

// Reads the one "P" attribute back into X, Y and Z.
void TLumVector::ReadValues(TLumExchange* Exchange) {
  TLumMathVector V = GetAsMathVector();
  Exchange->getvalue("P", V);
  SetAsMathVector(V);
}

// The colour is written in hexadecimal and left out, with NoDefaultValues, when it is
// white ($FFFFFF), not at its published default 0.
void TLumColor::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Color", TLumExchange::int2hex(Color()), TLumExchange::int2hex(0xFFFFFF));
  Exchange->addtag("Alpha", static_cast<double>(Alpha()), 1.0);
}

// The colour comes back from its hexadecimal text; Alpha as its entry would read it.
void TLumColor::ReadValues(TLumExchange* Exchange) {
  uint32_t Value = Color();
  Exchange->getcolorvalue("Color", Value);
  SetColor(Value);
  SetAlpha(Exchange->getvalueor("Alpha", Alpha()));
}

// The angles travel as the vector's one "P" attribute, which no table publishes; Order is
// written as its entry would write it.
void TLumRotation::WriteValues(TLumExchange* Exchange) {
  TLumVector::WriteValues(Exchange);
  Exchange->addtag("Order", Order(), TLumRotationOrderStr, 5);
}

// The angles come from the vector's "P" attribute; Order as its entry would read it.
void TLumRotation::ReadValues(TLumExchange* Exchange) {
  TLumVector::ReadValues(Exchange);
  SetOrder(static_cast<TLumRotationOrder>(Exchange->getenums("Order", TLumRotationOrderStr, 5)));
}

// Order first, then the parts as child elements in the order translation, rotation,
// scale, which is not their published order.
void TLumTransformation::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Order", Order(), TLumTransformationOrderStr, 5);
  Translation()->WriteComp(Exchange, "Translation");
  Rotation()->WriteComp(Exchange, "Rotation");
  Scale()->WriteComp(Exchange, "Scale");
}

TObject* TLumTransformation::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  TLumProperty* Part = nullptr;
  if (SameText(Tag->Name, "Translation"))
    Part = Translation();
  else if (SameText(Tag->Name, "Rotation"))
    Part = Rotation();
  else if (SameText(Tag->Name, "Scale"))
    Part = Scale();
  if (Part) Part->ReadValues(Exchange);
  return Part;
}

void TLumTransformation::ReadValues(TLumExchange* Exchange) {
  Exchange->ReadPublished(this, ClassInfoOf<TLumTransformation>());  // Order; parts are children
}

}  // namespace lumox
