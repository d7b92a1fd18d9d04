// PROVISIONAL: replaced by the parser implementation (issue #4).
#include "lumox/exchange/xmlparser.h"

namespace lumox {
bool TXMLTag::GetParam(std::string_view, std::string&) const { return false; }
TXMLParser::TXMLParser(TComponent* AOwner) : TComponent(AOwner), FBase(new TXMLTag) { FCurrent = FBase; }
TXMLParser::~TXMLParser() { delete FBase; }
void TXMLParser::execute(TObject*) {}
}  // namespace lumox
