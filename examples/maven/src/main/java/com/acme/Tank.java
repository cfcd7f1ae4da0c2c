package com.acme;

import com.zelvox.qorbetta.*;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.stream.Stream;
import org.apache.commons.math3.analysis.UnivariateFunction;
import org.apache.commons.math3.analysis.interpolation.LinearInterpolator;
import org.apache.commons.math3.linear.MatrixUtils;
import org.apache.commons.math3.linear.RealMatrix;
import org.apache.commons.math3.ode.FirstOrderDifferentialEquations;
import org.apache.commons.math3.ode.nonstiff.DormandPrince54Integrator;

/**
 * A water tank with a hole in its ground. How wide it is at which height stands in shape.csv, which
 * lies beside this class; Commons Math interpolates and integrates.
 */
@ModelInfo(description = "Water tank of any shape, with a hole in its ground")
@DefaultExperiment(stopTime = 3600, stepSize = 10)
@UnitDefinition(name = "m", m = 1)
@UnitDefinition(name = "m2", m = 2, displayUnits = @DisplayUnit(name = "cm2", factor = 1e-4))
@UnitDefinition(name = "m3/s", m = 3, s = -1)
public class Tank extends FieldModel implements FirstOrderDifferentialEquations {
    @Input(unit = "m3/s", description = "water flowing in")
    private double inflow = 0.01;

    @Output(unit = "m", description = "height of the water")
    private double level = 0.1;

    @Parameter(unit = "m2", displayUnit = "cm2", min = 0, max = 1, description = "area of the hole")
    private double hole = 2e-3;

    private UnivariateFunction area;

    @Override
    protected void initialize() throws IOException {
        try (BufferedReader lines = new BufferedReader(new InputStreamReader(
                Tank.class.getResourceAsStream("shape.csv"), StandardCharsets.UTF_8))) {
            RealMatrix shape = MatrixUtils.createRealMatrix(lines.lines()
                    .map(line -> Stream.of(line.split(",")).mapToDouble(Double::valueOf).toArray())
                    .toArray(double[][]::new));
            area = new LinearInterpolator().interpolate(shape.getColumn(0), shape.getColumn(1));
        }
    }

    @Override
    protected void step(double time, double stepSize) {
        double[] state = {level};
        new DormandPrince54Integrator(1e-6, stepSize, 1e-9, 1e-9)
                .integrate(this, time, state, time + stepSize, state);
        level = state[0];
    }

    @Override
    public int getDimension() {
        return 1;
    }

    @Override
    public void computeDerivatives(double time, double[] state, double[] derivatives) {
        double height = Math.max(0, state[0]);
        derivatives[0] = (inflow - hole * Math.sqrt(2 * 9.81 * height)) / area.value(height);
    }
}
