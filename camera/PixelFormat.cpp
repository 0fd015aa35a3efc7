#include "PixelFormat.h"

#include <array>

#include <image/KyrImage.h>

namespace KyrCamPy {

namespace {

// Bayer tiles, 2x2 row by row.
constexpr const char *kTileGR = "G R G2 B";
constexpr const char *kTileRG = "R G B G2";
constexpr const char *kTileGB = "G B G2 R";
constexpr const char *kTileBG = "B G R G2";

// TrueSense tiles, 4x4 row by row.
constexpr const char *kTrueSenseBGGR = "W B W G B W G W W G W R G W R W";
constexpr const char *kTrueSenseGBRG = "W G W B G W B W W R W G R W G W";
constexpr const char *kTrueSenseGRBG = "W G W R G W R W W B W G B W G W";
constexpr const char *kTrueSenseRGGB = "W R W G R W G W W G W B G W B W";

constexpr std::array<PixelFormat, kKyrPixelTypeCount> kPixelFormats = { {
    { "Mono8", "Y", 1, 8, GetIndexMONO, 0, kKyrPixelMono8 },
    { "Mono10", "Y", 1, 10, GetIndexMONO, 0, kKyrPixelMono10 },
    { "Mono10p", "Y", 1, 10, GetIndexMONO, 0, kKyrPixelMono10p },
    { "Mono10Packed", "Y", 1, 10, GetIndexMONO, 0, kKyrPixelMono10Packed },
    { "Mono10_FLExPacked", "Y", 1, 10, GetIndexMONO, 0, kKyrPixelMono10_FLExPacked },
    { "Mono12", "Y", 1, 12, GetIndexMONO, 0, kKyrPixelMono12 },
    { "Mono12p", "Y", 1, 12, GetIndexMONO, 0, kKyrPixelMono12p },
    { "Mono12Packed", "Y", 1, 12, GetIndexMONO, 0, kKyrPixelMono12Packed },
    { "Mono12_FLExPacked", "Y", 1, 12, GetIndexMONO, 0, kKyrPixelMono12_FLExPacked },
    { "Mono14", "Y", 1, 14, GetIndexMONO, 0, kKyrPixelMono14 },
    { "Mono16", "Y", 1, 16, GetIndexMONO, 0, kKyrPixelMono16 },
    { "Mono8_FLExPacked", "Y", 1, 8, GetIndexMONO, 0, kKyrPixelMono8_FLExPacked },
    { "BayerGR8", kTileGR, 1, 8, GetIndexMONO, 0, kKyrPixelBayerGR8 },
    { "BayerRG8", kTileRG, 1, 8, GetIndexMONO, 0, kKyrPixelBayerRG8 },
    { "BayerGB8", kTileGB, 1, 8, GetIndexMONO, 0, kKyrPixelBayerGB8 },
    { "BayerBG8", kTileBG, 1, 8, GetIndexMONO, 0, kKyrPixelBayerBG8 },
    { "BayerGR10", kTileGR, 1, 10, GetIndexMONO, 0, kKyrPixelBayerGR10 },
    { "BayerRG10", kTileRG, 1, 10, GetIndexMONO, 0, kKyrPixelBayerRG10 },
    { "BayerGB10", kTileGB, 1, 10, GetIndexMONO, 0, kKyrPixelBayerGB10 },
    { "BayerBG10", kTileBG, 1, 10, GetIndexMONO, 0, kKyrPixelBayerBG10 },
    { "BayerGR12", kTileGR, 1, 12, GetIndexMONO, 0, kKyrPixelBayerGR12 },
    { "BayerRG12", kTileRG, 1, 12, GetIndexMONO, 0, kKyrPixelBayerRG12 },
    { "BayerGB12", kTileGB, 1, 12, GetIndexMONO, 0, kKyrPixelBayerGB12 },
    { "BayerBG12", kTileBG, 1, 12, GetIndexMONO, 0, kKyrPixelBayerBG12 },
    { "BayerGR10p", kTileGR, 1, 10, GetIndexMONO, 0, kKyrPixelBayerGR10p },
    { "BayerGR10Packed", kTileGR, 1, 10, GetIndexMONO, 0, kKyrPixelBayerGR10Packed },
    { "BayerRG10p", kTileRG, 1, 10, GetIndexMONO, 0, kKyrPixelBayerRG10p },
    { "BayerRG10Packed", kTileRG, 1, 10, GetIndexMONO, 0, kKyrPixelBayerRG10Packed },
    { "BayerGB10p", kTileGB, 1, 10, GetIndexMONO, 0, kKyrPixelBayerGB10p },
    { "BayerGB10Packed", kTileGB, 1, 10, GetIndexMONO, 0, kKyrPixelBayerGB10Packed },
    { "BayerBG10p", kTileBG, 1, 10, GetIndexMONO, 0, kKyrPixelBayerBG10p },
    { "BayerBG10Packed", kTileBG, 1, 10, GetIndexMONO, 0, kKyrPixelBayerBG10Packed },
    { "BayerGR12p", kTileGR, 1, 12, GetIndexMONO, 0, kKyrPixelBayerGR12p },
    { "BayerGR12Packed", kTileGR, 1, 12, GetIndexMONO, 0, kKyrPixelBayerGR12Packed },
    { "BayerRG12p", kTileRG, 1, 12, GetIndexMONO, 0, kKyrPixelBayerRG12p },
    { "BayerRG12Packed", kTileRG, 1, 12, GetIndexMONO, 0, kKyrPixelBayerRG12Packed },
    { "BayerGB12p", kTileGB, 1, 12, GetIndexMONO, 0, kKyrPixelBayerGB12p },
    { "BayerGB12Packed", kTileGB, 1, 12, GetIndexMONO, 0, kKyrPixelBayerGB12Packed },
    { "BayerBG12p", kTileBG, 1, 12, GetIndexMONO, 0, kKyrPixelBayerBG12p },
    { "BayerBG12Packed", kTileBG, 1, 12, GetIndexMONO, 0, kKyrPixelBayerBG12Packed },
    { "BayerGR14", kTileGR, 1, 14, GetIndexMONO, 0, kKyrPixelBayerGR14 },
    { "BayerRG14", kTileRG, 1, 14, GetIndexMONO, 0, kKyrPixelBayerRG14 },
    { "BayerGB14", kTileGB, 1, 14, GetIndexMONO, 0, kKyrPixelBayerGB14 },
    { "BayerBG14", kTileBG, 1, 14, GetIndexMONO, 0, kKyrPixelBayerBG14 },
    { "BayerGR16", kTileGR, 1, 16, GetIndexMONO, 0, kKyrPixelBayerGR16 },
    { "BayerRG16", kTileRG, 1, 16, GetIndexMONO, 0, kKyrPixelBayerRG16 },
    { "BayerGB16", kTileGB, 1, 16, GetIndexMONO, 0, kKyrPixelBayerGB16 },
    { "BayerBG16", kTileBG, 1, 16, GetIndexMONO, 0, kKyrPixelBayerBG16 },
    { "TrueSense_BGGR_WBBW_0_8", kTrueSenseBGGR, 1, 8, GetIndexMONO, 0, kKyrPixelTrueSense_BGGR_WBBW_0_8 },
    { "TrueSense_BGGR_WBBW_1_8", kTrueSenseBGGR, 1, 8, GetIndexMONO, 1, kKyrPixelTrueSense_BGGR_WBBW_1_8 },
    { "TrueSense_BGGR_WBBW_2_8", kTrueSenseBGGR, 1, 8, GetIndexMONO, 2, kKyrPixelTrueSense_BGGR_WBBW_2_8 },
    { "TrueSense_BGGR_WBBW_3_8", kTrueSenseBGGR, 1, 8, GetIndexMONO, 3, kKyrPixelTrueSense_BGGR_WBBW_3_8 },
    { "TrueSense_GBRG_WGGW_0_8", kTrueSenseGBRG, 1, 8, GetIndexMONO, 0, kKyrPixelTrueSense_GBRG_WGGW_0_8 },
    { "TrueSense_GBRG_WGGW_1_8", kTrueSenseGBRG, 1, 8, GetIndexMONO, 1, kKyrPixelTrueSense_GBRG_WGGW_1_8 },
    { "TrueSense_GBRG_WGGW_2_8", kTrueSenseGBRG, 1, 8, GetIndexMONO, 2, kKyrPixelTrueSense_GBRG_WGGW_2_8 },
    { "TrueSense_GBRG_WGGW_3_8", kTrueSenseGBRG, 1, 8, GetIndexMONO, 3, kKyrPixelTrueSense_GBRG_WGGW_3_8 },
    { "TrueSense_GRBG_WGGW_0_8", kTrueSenseGRBG, 1, 8, GetIndexMONO, 0, kKyrPixelTrueSense_GRBG_WGGW_0_8 },
    { "TrueSense_GRBG_WGGW_1_8", kTrueSenseGRBG, 1, 8, GetIndexMONO, 1, kKyrPixelTrueSense_GRBG_WGGW_1_8 },
    { "TrueSense_GRBG_WGGW_2_8", kTrueSenseGRBG, 1, 8, GetIndexMONO, 2, kKyrPixelTrueSense_GRBG_WGGW_2_8 },
    { "TrueSense_GRBG_WGGW_3_8", kTrueSenseGRBG, 1, 8, GetIndexMONO, 3, kKyrPixelTrueSense_GRBG_WGGW_3_8 },
    { "TrueSense_RGGB_WRRW_0_8", kTrueSenseRGGB, 1, 8, GetIndexMONO, 0, kKyrPixelTrueSense_RGGB_WRRW_0_8 },
    { "TrueSense_RGGB_WRRW_1_8", kTrueSenseRGGB, 1, 8, GetIndexMONO, 1, kKyrPixelTrueSense_RGGB_WRRW_1_8 },
    { "TrueSense_RGGB_WRRW_2_8", kTrueSenseRGGB, 1, 8, GetIndexMONO, 2, kKyrPixelTrueSense_RGGB_WRRW_2_8 },
    { "TrueSense_RGGB_WRRW_3_8", kTrueSenseRGGB, 1, 8, GetIndexMONO, 3, kKyrPixelTrueSense_RGGB_WRRW_3_8 },
    { "TrueSense_BGGR_WBBW_0_10", kTrueSenseBGGR, 1, 10, GetIndexMONO, 0, kKyrPixelTrueSense_BGGR_WBBW_0_10 },
    { "TrueSense_BGGR_WBBW_1_10", kTrueSenseBGGR, 1, 10, GetIndexMONO, 1, kKyrPixelTrueSense_BGGR_WBBW_1_10 },
    { "TrueSense_BGGR_WBBW_2_10", kTrueSenseBGGR, 1, 10, GetIndexMONO, 2, kKyrPixelTrueSense_BGGR_WBBW_2_10 },
    { "TrueSense_BGGR_WBBW_3_10", kTrueSenseBGGR, 1, 10, GetIndexMONO, 3, kKyrPixelTrueSense_BGGR_WBBW_3_10 },
    { "TrueSense_GBRG_WGGW_0_10", kTrueSenseGBRG, 1, 10, GetIndexMONO, 0, kKyrPixelTrueSense_GBRG_WGGW_0_10 },
    { "TrueSense_GBRG_WGGW_1_10", kTrueSenseGBRG, 1, 10, GetIndexMONO, 1, kKyrPixelTrueSense_GBRG_WGGW_1_10 },
    { "TrueSense_GBRG_WGGW_2_10", kTrueSenseGBRG, 1, 10, GetIndexMONO, 2, kKyrPixelTrueSense_GBRG_WGGW_2_10 },
    { "TrueSense_GBRG_WGGW_3_10", kTrueSenseGBRG, 1, 10, GetIndexMONO, 3, kKyrPixelTrueSense_GBRG_WGGW_3_10 },
    { "TrueSense_GRBG_WGGW_0_10", kTrueSenseGRBG, 1, 10, GetIndexMONO, 0, kKyrPixelTrueSense_GRBG_WGGW_0_10 },
    { "TrueSense_GRBG_WGGW_1_10", kTrueSenseGRBG, 1, 10, GetIndexMONO, 1, kKyrPixelTrueSense_GRBG_WGGW_1_10 },
    { "TrueSense_GRBG_WGGW_2_10", kTrueSenseGRBG, 1, 10, GetIndexMONO, 2, kKyrPixelTrueSense_GRBG_WGGW_2_10 },
    { "TrueSense_GRBG_WGGW_3_10", kTrueSenseGRBG, 1, 10, GetIndexMONO, 3, kKyrPixelTrueSense_GRBG_WGGW_3_10 },
    { "TrueSense_RGGB_WRRW_0_10", kTrueSenseRGGB, 1, 10, GetIndexMONO, 0, kKyrPixelTrueSense_RGGB_WRRW_0_10 },
    { "TrueSense_RGGB_WRRW_1_10", kTrueSenseRGGB, 1, 10, GetIndexMONO, 1, kKyrPixelTrueSense_RGGB_WRRW_1_10 },
    { "TrueSense_RGGB_WRRW_2_10", kTrueSenseRGGB, 1, 10, GetIndexMONO, 2, kKyrPixelTrueSense_RGGB_WRRW_2_10 },
    { "TrueSense_RGGB_WRRW_3_10", kTrueSenseRGGB, 1, 10, GetIndexMONO, 3, kKyrPixelTrueSense_RGGB_WRRW_3_10 },
    { "TrueSense_BGGR_WBBW_0_12", kTrueSenseBGGR, 1, 12, GetIndexMONO, 0, kKyrPixelTrueSense_BGGR_WBBW_0_12 },
    { "TrueSense_BGGR_WBBW_1_12", kTrueSenseBGGR, 1, 12, GetIndexMONO, 1, kKyrPixelTrueSense_BGGR_WBBW_1_12 },
    { "TrueSense_BGGR_WBBW_2_12", kTrueSenseBGGR, 1, 12, GetIndexMONO, 2, kKyrPixelTrueSense_BGGR_WBBW_2_12 },
    { "TrueSense_BGGR_WBBW_3_12", kTrueSenseBGGR, 1, 12, GetIndexMONO, 3, kKyrPixelTrueSense_BGGR_WBBW_3_12 },
    { "TrueSense_GBRG_WGGW_0_12", kTrueSenseGBRG, 1, 12, GetIndexMONO, 0, kKyrPixelTrueSense_GBRG_WGGW_0_12 },
    { "TrueSense_GBRG_WGGW_1_12", kTrueSenseGBRG, 1, 12, GetIndexMONO, 1, kKyrPixelTrueSense_GBRG_WGGW_1_12 },
    { "TrueSense_GBRG_WGGW_2_12", kTrueSenseGBRG, 1, 12, GetIndexMONO, 2, kKyrPixelTrueSense_GBRG_WGGW_2_12 },
    { "TrueSense_GBRG_WGGW_3_12", kTrueSenseGBRG, 1, 12, GetIndexMONO, 3, kKyrPixelTrueSense_GBRG_WGGW_3_12 },
    { "TrueSense_GRBG_WGGW_0_12", kTrueSenseGRBG, 1, 12, GetIndexMONO, 0, kKyrPixelTrueSense_GRBG_WGGW_0_12 },
    { "TrueSense_GRBG_WGGW_1_12", kTrueSenseGRBG, 1, 12, GetIndexMONO, 1, kKyrPixelTrueSense_GRBG_WGGW_1_12 },
    { "TrueSense_GRBG_WGGW_2_12", kTrueSenseGRBG, 1, 12, GetIndexMONO, 2, kKyrPixelTrueSense_GRBG_WGGW_2_12 },
    { "TrueSense_GRBG_WGGW_3_12", kTrueSenseGRBG, 1, 12, GetIndexMONO, 3, kKyrPixelTrueSense_GRBG_WGGW_3_12 },
    { "TrueSense_RGGB_WRRW_0_12", kTrueSenseRGGB, 1, 12, GetIndexMONO, 0, kKyrPixelTrueSense_RGGB_WRRW_0_12 },
    { "TrueSense_RGGB_WRRW_1_12", kTrueSenseRGGB, 1, 12, GetIndexMONO, 1, kKyrPixelTrueSense_RGGB_WRRW_1_12 },
    { "TrueSense_RGGB_WRRW_2_12", kTrueSenseRGGB, 1, 12, GetIndexMONO, 2, kKyrPixelTrueSense_RGGB_WRRW_2_12 },
    { "TrueSense_RGGB_WRRW_3_12", kTrueSenseRGGB, 1, 12, GetIndexMONO, 3, kKyrPixelTrueSense_RGGB_WRRW_3_12 },
    { "TrueSense_BGGR_WBBW_0_14", kTrueSenseBGGR, 1, 14, GetIndexMONO, 0, kKyrPixelTrueSense_BGGR_WBBW_0_14 },
    { "TrueSense_BGGR_WBBW_1_14", kTrueSenseBGGR, 1, 14, GetIndexMONO, 1, kKyrPixelTrueSense_BGGR_WBBW_1_14 },
    { "TrueSense_BGGR_WBBW_2_14", kTrueSenseBGGR, 1, 14, GetIndexMONO, 2, kKyrPixelTrueSense_BGGR_WBBW_2_14 },
    { "TrueSense_BGGR_WBBW_3_14", kTrueSenseBGGR, 1, 14, GetIndexMONO, 3, kKyrPixelTrueSense_BGGR_WBBW_3_14 },
    { "TrueSense_GBRG_WGGW_0_14", kTrueSenseGBRG, 1, 14, GetIndexMONO, 0, kKyrPixelTrueSense_GBRG_WGGW_0_14 },
    { "TrueSense_GBRG_WGGW_1_14", kTrueSenseGBRG, 1, 14, GetIndexMONO, 1, kKyrPixelTrueSense_GBRG_WGGW_1_14 },
    { "TrueSense_GBRG_WGGW_2_14", kTrueSenseGBRG, 1, 14, GetIndexMONO, 2, kKyrPixelTrueSense_GBRG_WGGW_2_14 },
    { "TrueSense_GBRG_WGGW_3_14", kTrueSenseGBRG, 1, 14, GetIndexMONO, 3, kKyrPixelTrueSense_GBRG_WGGW_3_14 },
    { "TrueSense_GRBG_WGGW_0_14", kTrueSenseGRBG, 1, 14, GetIndexMONO, 0, kKyrPixelTrueSense_GRBG_WGGW_0_14 },
    { "TrueSense_GRBG_WGGW_1_14", kTrueSenseGRBG, 1, 14, GetIndexMONO, 1, kKyrPixelTrueSense_GRBG_WGGW_1_14 },
    { "TrueSense_GRBG_WGGW_2_14", kTrueSenseGRBG, 1, 14, GetIndexMONO, 2, kKyrPixelTrueSense_GRBG_WGGW_2_14 },
    { "TrueSense_GRBG_WGGW_3_14", kTrueSenseGRBG, 1, 14, GetIndexMONO, 3, kKyrPixelTrueSense_GRBG_WGGW_3_14 },
    { "TrueSense_RGGB_WRRW_0_14", kTrueSenseRGGB, 1, 14, GetIndexMONO, 0, kKyrPixelTrueSense_RGGB_WRRW_0_14 },
    { "TrueSense_RGGB_WRRW_1_14", kTrueSenseRGGB, 1, 14, GetIndexMONO, 1, kKyrPixelTrueSense_RGGB_WRRW_1_14 },
    { "TrueSense_RGGB_WRRW_2_14", kTrueSenseRGGB, 1, 14, GetIndexMONO, 2, kKyrPixelTrueSense_RGGB_WRRW_2_14 },
    { "TrueSense_RGGB_WRRW_3_14", kTrueSenseRGGB, 1, 14, GetIndexMONO, 3, kKyrPixelTrueSense_RGGB_WRRW_3_14 },
    { "RGB8", "R G B", 3, 8, GetIndexRGB, 0, kKyrPixelRGB8 },
    { "BGR8", "B G R", 3, 8, GetIndexBGR, 0, kKyrPixelBGR8 },
    { "RGBa8", "R G B A", 4, 8, GetIndexRGBA, 0, kKyrPixelRGBa8 },
    { "BGRa8", "B G R A", 4, 8, GetIndexBGRA, 0, kKyrPixelBGRa8 },
    { "RGB10", "R G B", 3, 10, GetIndexRGB, 0, kKyrPixelRGB10 },
    { "BGR10", "B G R", 3, 10, GetIndexBGR, 0, kKyrPixelBGR10 },
    { "RGB12", "R G B", 3, 12, GetIndexRGB, 0, kKyrPixelRGB12 },
    { "BGR12", "B G R", 3, 12, GetIndexBGR, 0, kKyrPixelBGR12 },
    { "RGB14", "R G B", 3, 14, GetIndexRGB, 0, kKyrPixelRGB14 },
    { "BGR14", "B G R", 3, 14, GetIndexBGR, 0, kKyrPixelBGR14 },
    { "RGB16", "R G B", 3, 16, GetIndexRGB, 0, kKyrPixelRGB16 },
    { "BGR16", "B G R", 3, 16, GetIndexBGR, 0, kKyrPixelBGR16 },
    { "RGB_8_FLEX_Packed", "R G B", 3, 8, GetIndexRGB, 0, kKyrPixelRGB_8_FLEX_Packed },
    { "RGB_10_FLEX_Packed", "R G B", 3, 10, GetIndexRGB, 0, kKyrPixelRGB_10_FLEX_Packed },
    { "RGB_12_FLEX_Packed", "R G B", 3, 12, GetIndexRGB, 0, kKyrPixelRGB_12_FLEX_Packed },
    { "YUV422_8_UYVY", "U Y V Y", 3, 8, GetIndexYUV, 0, kKyrPixelYUV422_8_UYVY },
    { "YUV422_8", "Y U Y V", 3, 8, GetIndexYUV, 0, kKyrPixelYUV422_8 },
    { "YUV422_10", "Y U Y V", 3, 10, GetIndexYUV, 0, kKyrPixelYUV422_10 },
    { "YUV422_10_PACKED", "Y U Y V", 3, 10, GetIndexYUV, 0, kKyrPixelYUV422_10_PACKED },
    { "YUV444_8", "Y U V A", 4, 8, GetIndexYUV, 0, kKyrPixelYUV444_8 },
    { "YCbCr422_8", "Y Cb Y Cr", 3, 8, GetIndexYUV, 0, kKyrPixelYCbCr422_8 },
} };

constexpr uint32_t depthStepOf(uint32_t bitDepth)
{
    return bitDepth == 8 ? 1 : bitDepth == 10 ? 2 : bitDepth == 12 ? 3 : bitDepth == 14 ? 4 : bitDepth == 16 ? 5 : 0;
}

// The columns of a row agree with each other and with its place: the code's
// low byte is the row number, its depth step is that of the bit depth, one
// sample per pixel goes with GetIndexMONO, and an RGB family row's index
// function finds each letter of its layout at the letter's own position.
constexpr bool rowsAgree()
{
    for (size_t i = 0; i < kPixelFormats.size(); ++i) {
        const PixelFormat &row = kPixelFormats[i];
        if (KyrPixelRowOf(row.code) != i + 1 || ((row.code >> 8) & 0xF) != depthStepOf(row.bitDepth))
            return false;
        // The libraries describe images by these; the table must say the same.
        if (row.components != KyrPixelComponentsOf(row.code) || row.bitDepth != KyrPixelBitDepthOf(row.code))
            return false;
        const uint32_t pixelClass = KyrPixelClassOf(row.code);
        const bool oneSample = pixelClass == kKyrPixelClassMono || pixelClass == kKyrPixelClassBayer ||
                               pixelClass == kKyrPixelClassTrueSense;
        if (oneSample != (row.components == 1) || (oneSample && row.componentIndex != GetIndexMONO))
            return false;
        if (pixelClass != kKyrPixelClassTrueSense && row.phase != 0)
            return false;
        for (uint32_t k = 0; pixelClass == kKyrPixelClassRgb && k < row.components; ++k) {
            if (row.componentIndex(static_cast<char16_t>(row.layout[2 * k])) != static_cast<int32_t>(k))
                return false;
        }
    }
    return true;
}

static_assert(rowsAgree());
static_assert(kPixelFormats.front().code == kKyrPixelMono8 && kPixelFormats.back().code == kKyrPixelYCbCr422_8);

static_assert(GetIndexMONO(u'Y') == 0 && GetIndexMONO(u'X') == -1 && GetIndexMONO(u'Z') == -1);
static_assert(GetIndexRGB(u'R') == 0 && GetIndexRGB(u'G') == 1 && GetIndexRGB(u'B') == 2);
static_assert(GetIndexRGB(u'b') == -1 && GetIndexRGB(u'A') == -1 && GetIndexRGB(u'S') == -1);
static_assert(GetIndexBGR(u'B') == 0 && GetIndexBGR(u'G') == 1 && GetIndexBGR(u'R') == 2);
static_assert(GetIndexRGBA(u'R') == 0 && GetIndexRGBA(u'G') == 1 && GetIndexRGBA(u'B') == 2);
static_assert(GetIndexRGBA(u'A') == 3 && GetIndexRGBA(u'C') == -1 && GetIndexRGBA(u'S') == -1);
static_assert(GetIndexBGRA(u'B') == 0 && GetIndexBGRA(u'G') == 1 && GetIndexBGRA(u'R') == 2);
static_assert(GetIndexBGRA(u'A') == 3 && GetIndexBGRA(u'@') == -1);
static_assert(GetIndexYUV(u'Y') == 0 && GetIndexYUV(u'U') == 1 && GetIndexYUV(u'V') == 2);
static_assert(GetIndexYUV(u'W') == -1 && GetIndexYUV(u'X') == -1 && GetIndexYUV(u'Z') == -1 && GetIndexYUV(u'T') == -1);

} // namespace

const PixelFormat *pixelFormatOf(uint32_t code)
{
    const uint32_t row = KyrPixelRowOf(code);
    if (row < 1 || row > kPixelFormats.size())
        return nullptr;
    return &kPixelFormats[row - 1];
}

} // namespace KyrCamPy
