#include "bindings.h"

namespace limes::python {
namespace {

/// A one-dimensional float array as the kernels take it: any step between its elements.
struct SVector {
  explicit SVector(const py::object& object)
      : array(IsStrided(object) ? py::reinterpret_borrow<py::array_t<float, 0>>(object)
                                : py::array_t<float, 0>(FloatArray(object))),
        data(array.data()),
        n(static_cast<std::uint32_t>(array.size())),
        inc(n < 2 ? 1 : static_cast<std::uint32_t>(array.strides(0) / ssize)) {
    if (array.size() > INT32_MAX) {
      throw py::value_error("too many values");
    }
  }

  static bool IsStrided(const py::object& object) {
    if (!py::isinstance<py::array_t<float>>(object)) {
      return false;
    }
    const auto a = py::reinterpret_borrow<py::array>(object);
    return a.ndim() == 1 && a.strides(0) > 0 && a.strides(0) % ssize == 0 &&
           a.strides(0) / ssize <= INT32_MAX &&
           (a.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
  }

  static constexpr py::ssize_t ssize = sizeof(float);
  py::array_t<float, 0> array;
  const float* data;
  std::uint32_t n;
  std::uint32_t inc;
};

using Reduce = float (*)(const float*, std::uint32_t, std::uint32_t);

/// Calls a kernel on a vector, without the interpreter lock when that is long.
template <class Call>
auto OnVector(Call call) {
  return [call](const py::object& values) {
    const SVector v(values);
    if (v.n < kLongLoop) {
      return call(v);
    }
    const py::gil_scoped_release open;
    return call(v);
  };
}

void DefReduce(py::module_& m, const char* name, Reduce kernel, const char* text) {
  m.def(name, OnVector([kernel](const SVector& v) { return kernel(v.data, v.n, v.inc); }),
        py::arg("values"), text);
}

using Resample = void (*)(const float*, std::uint32_t, std::uint32_t, float*, std::uint32_t, float);

void DefResample(py::module_& m, const char* name, Resample kernel, const char* text) {
  m.def(
      name,
      [kernel](const py::object& values, std::uint32_t n) {
        const SVector v(values);
        if (v.n == 0 && n > 0) {
          throw py::value_error("no values to resample");
        }
        py::array_t<float> out(static_cast<py::ssize_t>(n));
        kernel(v.data, v.n, v.inc, out.mutable_data(), n, 1.0F);
        return out;
      },
      py::arg("values"), py::arg("n"), text);
}

void LinearResampling(const float* src, std::uint32_t nIn, std::uint32_t inc, float* dst,
                      std::uint32_t nOut, float factor) {
  if (nIn == 2 && inc != 1) {  // the kernel takes the second sample from right behind the first
    const float two[] = {src[0], src[inc]};
    DVL::Resamling(DVL::kResampleMean | DVL::kResampleLinear, two, 2, 1, dst, nOut, factor);
    return;
  }
  DVL::Resamling(DVL::kResampleMean | DVL::kResampleLinear, src, nIn, inc, dst, nOut, factor);
}

}  // namespace

void BindKernels(py::module_& module) {
  py::module_ m = module.def_submodule("DVL", "Kernels on float32 arrays of any step.");
  DefReduce(m, "VectorSum", DVL::VectorSum, "Sum in float, in order.");
  DefReduce(m, "VectorAbsSum", DVL::VectorAbsSum, "Sum of magnitudes.");
  DefReduce(m, "VectorSqrSum", DVL::VectorSqrSum, "Sum of squares.");
  DefReduce(m, "VectorMean", DVL::VectorMean, "Mean.");
  DefReduce(m, "VectorRMS", DVL::VectorRMS, "Root mean square.");
  DefReduce(m, "VectorL2Norm", DVL::VectorL2Norm, "Root of the sum of squares.");
  DefReduce(m, "VectorAbsMax", DVL::VectorAbsMax, "Largest magnitude.");
  DefReduce(m, "VectorLogSum", DVL::VectorLogSum, "Level of the sum of powers, levels in dB.");
  DefReduce(m, "VectorLogMean", DVL::VectorLogMean, "Level of the mean power, levels in dB.");
  m.def(
      "Kurtosis",
      [](const py::object& values) {
        const py::array_t<float> v = FloatArray(values);
        return DVL::Kurtosis(v.data(), static_cast<std::uint32_t>(v.size()));
      },
      py::arg("values"), "Kurtosis; 3 for a normal distribution.");
  m.def("VectorVarianz", OnVector([](const SVector& v) {
          float mean = 0.0F;
          const float variance = DVL::VectorVarianz(v.data, v.n, v.inc, &mean);
          return std::pair(variance, mean);
        }),
        py::arg("values"), "Variance of the population, and the mean.");
  m.def("VectorMinMax", OnVector([](const SVector& v) {
          float min = 0.0F;
          float max = 0.0F;
          DVL::VectorMinMax(v.data, v.n, v.inc, min, max);
          return std::pair(min, max);
        }),
        py::arg("values"), "Both extremes; 0 without values.");
  m.def("VectorMaxIdx", OnVector([](const SVector& v) {
          float value = 0.0F;
          std::uint32_t index = 0;
          DVL::VectorMaxIdx(v.data, v.n, v.inc, value, index);
          return std::pair(value, index);
        }),
        py::arg("values"), "The first largest value and its index.");
  DefResample(m, "DownsamlingMean", DVL::DownsamlingMean, "Means of n bins.");
  DefResample(m, "DownsamlingMax", DVL::DownsamlingMax, "Maxima of n bins.");
  DefResample(m, "DownsamlingMinMax", DVL::DownsamlingMinMax,
              "Minimum and maximum of each of n / 2 bins.");
  DefResample(m, "Resamling", LinearResampling, "Bin means when shorter, lines when longer.");
}

}  // namespace limes::python
