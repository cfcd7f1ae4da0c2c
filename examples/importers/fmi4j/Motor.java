import java.io.File;
import java.io.PrintWriter;
import no.ntnu.ihb.fmi4j.importer.fmi2.CoSimulationSlave;
import no.ntnu.ihb.fmi4j.importer.fmi2.Fmu;

/**
 * Runs the DC motor in FMI4j, an importer written in Java, whose JVM is the one that the model needs:
 *
 * <pre>
 * mvn dependency:copy-dependencies -DoutputDirectory=lib
 * javac -cp "lib/*" Motor.java
 * java -cp "/usr/local/share/java/zelvox.jar:.:lib/*" Motor motor.fmu motor.csv
 * </pre>
 */
public class Motor {
    private static final int STEPS = 500;
    private static final double STEP = 1e-3; // s

    public static void main(String[] arguments) throws Exception {
        try (Fmu fmu = Fmu.from(new File(arguments[0]));
                CoSimulationSlave motor = fmu.asCoSimulationFmu().newInstance("motor");
                PrintWriter table = new PrintWriter(arguments[1], "UTF-8")) {
            long[] inputs = references(motor, "voltage", "load");
            long[] outputs = references(motor, "speed", "current");
            double[] values = new double[outputs.length];
            succeed(motor, motor.setupExperiment(0, STEPS * STEP, 0) && motor.enterInitializationMode());
            motor.writeReal(inputs, new double[] {12, 0.01}); // V, N.m
            succeed(motor, motor.exitInitializationMode());
            table.println("time,speed,current");
            for (int step = 0; step <= STEPS; step++) {
                succeed(motor, step == 0 || motor.doStep((step - 1) * STEP, STEP));
                motor.readReal(outputs, values);
                table.println(step * STEP + "," + values[0] + "," + values[1]);
            }
            motor.terminate();
            System.out.println(STEPS + 1 + " points, at the end " + values[0] + " rad/s");
        }
    }

    private static long[] references(CoSimulationSlave slave, String... names) {
        long[] references = new long[names.length];
        for (int i = 0; i < names.length; i++) {
            references[i] = slave.getModelDescription().getVariableByName(names[i]).getValueReference();
        }
        return references;
    }

    private static void succeed(CoSimulationSlave slave, boolean fine) {
        if (!fine) {
            throw new IllegalStateException("The FMU answered " + slave.getLastStatus() + ".");
        }
    }
}
