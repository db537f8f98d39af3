// A section of second order, a sample every clock, in one of four forms:
//
//     direct1      y = [b0 u + b1 u1 + b2 u2 - a1 y1 - a2 y2]
//     direct2      w = [u - a1 w1 - a2 w2],  y = [b0 w + b1 w1 + b2 w2]
//     transposed1  w = [u + p1],  y = [b0 w + q1],  p1' = p2 - a1 w,  p2' = -a2 w,  q1' = q2 + b1 w,  q2' = b2 w
//     transposed2  y = [b0 u + z1],  z1' = z2 + b1 u - a1 y,  z2' = b2 u - a2 y
//
// summed in this order; u is the input times the gain. The places are the same in all of them and only the wires
// differ: u (W), products (PB, PA), sums after each product (SB, SA), what is fed back or delayed (T), and y (Y). A place
// of 0 bits leaves values as they are. Wires between places are so long (E) that nothing is lost on them.
module biquad #(
    parameter FORM = "direct1", SUBTRACT = 1,
    parameter C_BITS = 16, C_FRACTION = 14,
    parameter E_BITS = 64, E_FRACTION = 45,
    parameter W_BITS = 0, W_FRACTION = 0, W_ROUNDING = "", W_OVERFLOW = "",
    parameter PB_BITS = 0, PB_FRACTION = 0, PB_ROUNDING = "", PB_OVERFLOW = "",
    parameter PA_BITS = 0, PA_FRACTION = 0, PA_ROUNDING = "", PA_OVERFLOW = "",
    parameter SB_BITS = 0, SB_FRACTION = 0, SB_ROUNDING = "", SB_OVERFLOW = "",
    parameter SA_BITS = 0, SA_FRACTION = 0, SA_ROUNDING = "", SA_OVERFLOW = "",
    parameter T_BITS = 0, T_FRACTION = 0, T_ROUNDING = "", T_OVERFLOW = "",
    parameter Y_BITS = 16, Y_FRACTION = 15, Y_ROUNDING = "nearest", Y_OVERFLOW = "saturate"
) (
    input  wire                       clock,
    input  wire                       enable,
    input  wire signed [E_BITS-1:0]   x,
    input  wire        [6*C_BITS-1:0] coefficients,  // from the lowest on: the gain, b0, b1, b2, a1, a2
    output wire signed [E_BITS-1:0]   y,
    output wire        [7*32-1:0]     overflows      // how many, from the lowest on: of W, PB, PA, SB, SA, T, Y
);
    localparam M_BITS = E_BITS + C_BITS, M_FRACTION = E_FRACTION + C_FRACTION;
    wire signed [C_BITS-1:0] gain = coefficients[0 +: C_BITS];
    wire signed [M_BITS-1:0] amplified = x * gain;
    wire signed [E_BITS-1:0] u;
    reg  signed [E_BITS-1:0] delay[0:3];

    // In each form some of these places have nothing to do.
    wire       over_w, over_y;
    wire [2:0] over_pb, over_sb, over_sa;
    wire [1:0] over_pa;
    wire [3:0] over_t;
    place #(
        .A_BITS(M_BITS), .A_FRACTION(M_FRACTION), .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
        .BITS(W_BITS), .FRACTION(W_FRACTION), .ROUNDING(W_ROUNDING), .OVERFLOW(W_OVERFLOW)
    ) place_input (.a(amplified), .r(u), .over(over_w));

    genvar k;
    generate
        for (k = 0; k < 3; k = k + 1) begin : b
            wire signed [C_BITS-1:0] c = coefficients[(1+k)*C_BITS +: C_BITS];
            wire signed [E_BITS-1:0] factor, product, total, sum;
            wire signed [M_BITS-1:0] exact_product = factor * c;
            place #(
                .A_BITS(M_BITS), .A_FRACTION(M_FRACTION), .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
                .BITS(PB_BITS), .FRACTION(PB_FRACTION), .ROUNDING(PB_ROUNDING), .OVERFLOW(PB_OVERFLOW)
            ) place_product (.a(exact_product), .r(product), .over(over_pb[k]));
            place #(
                .A_BITS(E_BITS), .A_FRACTION(E_FRACTION), .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
                .BITS(SB_BITS), .FRACTION(SB_FRACTION), .ROUNDING(SB_ROUNDING), .OVERFLOW(SB_OVERFLOW)
            ) place_sum (.a(total), .r(sum), .over(over_sb[k]));
        end
        for (k = 0; k < 2; k = k + 1) begin : a
            wire signed [C_BITS-1:0] c = coefficients[(4+k)*C_BITS +: C_BITS];
            wire signed [E_BITS-1:0] factor, product;
            wire signed [M_BITS-1:0] exact_product = factor * c;
            place #(
                .A_BITS(M_BITS), .A_FRACTION(M_FRACTION), .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
                .BITS(PA_BITS), .FRACTION(PA_FRACTION), .ROUNDING(PA_ROUNDING), .OVERFLOW(PA_OVERFLOW)
            ) place_product (.a(exact_product), .r(product), .over(over_pa[k]));
            wire signed [E_BITS-1:0] term = SUBTRACT != 0 ? -product : product;
        end
        for (k = 0; k < 3; k = k + 1) begin : feedback
            wire signed [E_BITS-1:0] total, sum;
            place #(
                .A_BITS(E_BITS), .A_FRACTION(E_FRACTION), .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
                .BITS(SA_BITS), .FRACTION(SA_FRACTION), .ROUNDING(SA_ROUNDING), .OVERFLOW(SA_OVERFLOW)
            ) place_sum (.a(total), .r(sum), .over(over_sa[k]));
        end
        for (k = 0; k < 4; k = k + 1) begin : state
            wire signed [E_BITS-1:0] value, held;
            place #(
                .A_BITS(E_BITS), .A_FRACTION(E_FRACTION), .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
                .BITS(T_BITS), .FRACTION(T_FRACTION), .ROUNDING(T_ROUNDING), .OVERFLOW(T_OVERFLOW)
            ) place_state (.a(value), .r(held), .over(over_t[k]));
            initial delay[k] = 0;
        end
    endgenerate
    wire signed [E_BITS-1:0] result;
    place #(
        .A_BITS(E_BITS), .A_FRACTION(E_FRACTION), .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
        .BITS(Y_BITS), .FRACTION(Y_FRACTION), .ROUNDING(Y_ROUNDING), .OVERFLOW(Y_OVERFLOW)
    ) place_output (.a(result), .r(y), .over(over_y));

    generate
        if (FORM == "direct1" || FORM == "direct2") begin : direct
            if (FORM == "direct1") begin : first
                assign b[0].factor = u;
                assign b[1].factor = delay[0];
                assign b[2].factor = delay[1];
                assign a[0].factor = delay[2];
                assign a[1].factor = delay[3];
                assign feedback[0].total = b[2].sum + a[0].term;
                assign result = feedback[1].sum;
                assign state[0].value = u;
                assign state[1].value = y;
                always @(posedge clock) begin
                    delay[2] <= state[1].held;
                    delay[3] <= delay[2];
                end
            end else begin : second
                assign b[0].factor = state[0].held;
                assign b[1].factor = delay[0];
                assign b[2].factor = delay[1];
                assign a[0].factor = delay[0];
                assign a[1].factor = delay[1];
                assign feedback[0].total = u + a[0].term;
                assign result = b[2].sum;
                assign state[0].value = feedback[1].sum;
                assign state[1].value = 0;
            end
            assign b[0].total = b[0].product;
            assign b[1].total = b[0].sum + b[1].product;
            assign b[2].total = b[1].sum + b[2].product;
            assign feedback[1].total = feedback[0].sum + a[1].term;
            assign feedback[2].total = 0;
            assign state[2].value = 0;
            assign state[3].value = 0;
            always @(posedge clock) begin
                delay[0] <= state[0].held;
                delay[1] <= delay[0];
            end
        end else begin : transposed
            assign b[0].total = b[0].product + delay[0];
            assign b[2].total = b[2].product;
            assign b[1].total = delay[1] + b[1].product;
            assign result = b[0].sum;
            for (k = 0; k < 3; k = k + 1) begin : b_factors
                assign b[k].factor = FORM == "transposed1" ? feedback[2].sum : u;
            end
            for (k = 0; k < 2; k = k + 1) begin : a_factors
                assign a[k].factor = FORM == "transposed1" ? feedback[2].sum : y;
            end
            if (FORM == "transposed1") begin : first
                assign feedback[2].total = u + delay[2];
                assign feedback[0].total = delay[3] + a[0].term;
                assign feedback[1].total = a[1].term;
                assign state[0].value = b[1].sum;
                assign state[1].value = b[2].sum;
                assign state[2].value = feedback[0].sum;
                assign state[3].value = feedback[1].sum;
            end else begin : second
                assign feedback[0].total = b[1].sum + a[0].term;
                assign feedback[1].total = b[2].sum + a[1].term;
                assign feedback[2].total = 0;
                assign state[0].value = feedback[0].sum;
                assign state[1].value = feedback[1].sum;
                assign state[2].value = 0;
                assign state[3].value = 0;
            end
            always @(posedge clock) begin
                delay[0] <= state[0].held;
                delay[1] <= state[1].held;
                delay[2] <= state[2].held;
                delay[3] <= state[3].held;
            end
        end
    endgenerate

    reg [31:0] count_w = 0, count_pb = 0, count_pa = 0, count_sb = 0, count_sa = 0, count_t = 0, count_y = 0;
    always @(posedge clock)
        if (enable) begin
            count_w <= count_w + over_w;
            count_pb <= count_pb + over_pb[0] + over_pb[1] + over_pb[2];
            count_pa <= count_pa + over_pa[0] + over_pa[1];
            count_sb <= count_sb + over_sb[0] + over_sb[1] + over_sb[2];
            count_sa <= count_sa + over_sa[0] + over_sa[1] + over_sa[2];
            count_t <= count_t + over_t[0] + over_t[1] + over_t[2] + over_t[3];
            count_y <= count_y + over_y;
        end
    assign overflows = {count_y, count_t, count_sa, count_sb, count_pa, count_pb, count_w};
endmodule

// A format between two wires.
module place #(
    parameter A_BITS = 64, A_FRACTION = 45,
    parameter E_BITS = 64, E_FRACTION = 45,
    parameter BITS = 0, FRACTION = 0, ROUNDING = "", OVERFLOW = ""
) (
    input  wire signed [A_BITS-1:0] a,
    output wire signed [E_BITS-1:0] r,
    output wire                     over
);
    generate
        if (BITS == 0) begin : exact
            wire signed [A_BITS-1:0] aligned = a >>> (A_FRACTION - E_FRACTION);
            assign r = aligned[E_BITS-1:0];
            assign over = 1'b0;
        end else begin : quantized
            wire signed [BITS-1:0]   word;
            wire signed [E_BITS-1:0] extended = word;
            cast #(
                .A_BITS(A_BITS), .A_FRACTION(A_FRACTION),
                .R_BITS(BITS), .R_FRACTION(FRACTION), .ROUNDING(ROUNDING), .OVERFLOW(OVERFLOW)
            ) quantize (.a(a), .r(word), .over(over));
            assign r = extended <<< (E_FRACTION - FRACTION);
        end
    endgenerate
endmodule
