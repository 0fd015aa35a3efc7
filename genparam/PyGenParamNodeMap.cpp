#include "PyGenParamNodeMap.h"

namespace KyrGenParamPy {

PyGenParamNodeMap::PyGenParamNodeMap(KyrGenParam::NodeMap *nodeMap, KyrCamPy::Lifetime::Ref lifetime)
    : nodeMap_(nodeMap, std::move(lifetime))
{
}

} // namespace KyrGenParamPy
