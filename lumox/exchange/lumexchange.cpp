// PROVISIONAL: replaced by the exchange implementation (issue #4).
#include "lumox/exchange/lumexchange.h"

namespace lumox {
TLumExchange::TLumExchange(TComponent* AOwner) : TComponent(AOwner), FParser(new TXMLParser(this)) {}
TLumExchange::~TLumExchange() = default;
void TLumExchange::StartTag(const std::string&) {}
void TLumExchange::EndTag() {}
void TLumExchange::addvalue(const std::string&) {}
void TLumExchange::addparam(const std::string&, TComponent*) {}
void TLumExchange::addparam(const std::string&, const std::string&) {}
std::string TLumExchange::toStr(TComponent*) const { return {}; }
std::string TLumExchange::toStr(const TLumMathVector&) const { return {}; }
std::string TLumExchange::toStr(double) const { return {}; }
std::string TLumExchange::toStr(float) const { return {}; }
void TLumExchange::addtag(const std::string&, bool, bool) {}
void TLumExchange::addtag(const std::string&, int32_t, int32_t) {}
void TLumExchange::addtag(const std::string&, double, double) {}
void TLumExchange::addtag(const std::string&, const std::string&, const std::string&) {}
void TLumExchange::addtag(const std::string&, const char*, const char*) {}
void TLumExchange::addtag(const std::string&, int, const char* const*, int) {}
void TLumExchange::addtag(const std::string&, TComponent*, TComponent*) {}
void TLumExchange::addtag(const std::string&, const TLumMathVector&, const TLumMathVector&) {}
void TLumExchange::addsettag(const std::string&, uint32_t, const char* const*, int) {}
int TLumExchange::GetDepth() const { return 0; }
TXMLTag* TLumExchange::GetAktTag() { return nullptr; }
void TLumExchange::ObjStep() {}
std::string TLumExchange::GetAFilename(const std::string&) { return {}; }
std::string TLumExchange::int2hex(uint32_t) { return {}; }
uint32_t TLumExchange::hex2int(const std::string&) { return 0; }
bool TLumExchange::GetParamText(const std::string&, std::string&) const { return false; }
void TLumExchange::getvalue(const std::string&, bool&) {}
void TLumExchange::getvalue(const std::string&, int32_t&) {}
void TLumExchange::getvalue(const std::string&, uint32_t&) {}
void TLumExchange::getvalue(const std::string&, float&) {}
void TLumExchange::getvalue(const std::string&, double&) {}
void TLumExchange::getvalue(const std::string&, std::string&) {}
void TLumExchange::getvalue(const std::string&, TLumMathVector&) {}
void TLumExchange::getsetvalue(const std::string&, uint32_t&, const char* const*, int) {}
void TLumExchange::Strto(const std::string&, bool&) const {}
void TLumExchange::Strto(const std::string&, int32_t&) const {}
void TLumExchange::Strto(const std::string&, uint32_t&) const {}
void TLumExchange::Strto(const std::string&, float&) const {}
void TLumExchange::Strto(const std::string&, double&) const {}
void TLumExchange::Strto(const std::string&, std::string&) const {}
void TLumExchange::Strto(const std::string&, TLumMathVector&) const {}
int TLumExchange::getenums(const std::string&, const char* const*, int) const { return 0; }
int TLumExchange::getenumv(const std::string&, const char* const*, int) const { return 0; }
void TLumExchange::SavetoFile(TComponent*) {}
void TLumExchange::SaveObj(TComponent*) {}
void TLumExchange::LoadfromFile(TObject*) {}
void TLumExchange::clear() {}
}  // namespace lumox
