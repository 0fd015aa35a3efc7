#include "KyrGenParamApiPy.h"

#include "camera/ErrorReport.h"
#include "PyGenParam.h"
#include "PyGenParamCategory.h"

namespace KyrGenParamPy {

Py::Tuple failedPair()
{
    Py::Tuple pair(2);
    pair[0] = Py::False();
    pair[1] = Py::None();
    return pair;
}

Py::Tuple okPair(const Py::Object &value)
{
    Py::Tuple pair(2);
    pair[0] = Py::True();
    pair[1] = value;
    return pair;
}

bool tooFewArgs(const Py::Tuple &args, Py::Tuple::size_type count, const char *message)
{
    if (args.length() >= count)
        return false;
    KyrCamPy::reportLine(message);
    return true;
}

Py::Object statusOf(KyrCamErr code)
{
    return Py::Boolean(code == KyrCam::kOk);
}

Py::Object textOf(KyrGenParam::Param *node, const char *(KyrGenParam::Param::*getter)() noexcept)
{
    if (!node)
        return Py::None();
    return KyrCamPy::fromUtf8((node->*getter)());
}

Py::Object wrapParam(KyrGenParam::Param *param, const KyrCamPy::Lifetime::Ref &lifetime)
{
    if (param->GetType() == KyrGenParam::ParamCategory)
        return Py::asObject(new PyGenParamCategory(dynamic_cast<KyrGenParam::Category *>(param), lifetime));
    return Py::asObject(new PyGenParam(param, lifetime));
}

} // namespace KyrGenParamPy
